#pragma once

// A write-only builder of JSON text: push named entries into an object and values into an array,
// nest them, and serialize the root. Entries keep the order in which they were pushed.
//
// Texts are not checked. Keys are written as they are, and of a string value only backslashes are
// escaped: who pushes double quotes or control characters gets text that is not JSON.
//
// A builder is filled and serialized by one thread at a time; the objects' counts are atomic.

#include <string>
#include <vector>

#include "ZelREKernel/ZelREKernelExport.h"
#include "ZelREKernel/core/vRefPtr.h"
#include "ZelREKernel/core/vSmartPtr.h"
#include "ZelREKernel/core/vSmartPtrObject.h"

namespace ZKL {

class vJSONEntryValue;  // one value of either; its kinds are private to the implementation
class vJSONObject;

// Values in a row. An ordinary value: copies share the elements, which never change. When a push
// runs out of memory it throws std::bad_alloc and has pushed nothing. A null text counts as an
// empty one. A null object writes nothing where it stands, and so does one destroyed meanwhile.
class ZELREKERNEL_EXPORT vJSONArray {
public:
    vJSONArray() noexcept;
    vJSONArray(const vJSONArray& other);
    vJSONArray(vJSONArray&& other) noexcept;
    vJSONArray& operator=(const vJSONArray& other);
    vJSONArray& operator=(vJSONArray&& other) noexcept;
    ~vJSONArray();

    // Each appends one element and returns the array. There is none for integers, on purpose: a
    // number in an array is a float. An array pushed is copied; an object is kept alive.
    vJSONArray& PushValue(float value);
    vJSONArray& PushValue(bool value);
    vJSONArray& PushValue(const char* value);
    vJSONArray& PushValue(const vJSONArray& value);
    vJSONArray& PushValue(vSmartPtr<vJSONObject> value);

private:
    friend class vJSONEntryValue;

    vJSONArray& _Push(vJSONEntryValue* value);

    std::vector<vRefPtr<vJSONEntryValue>> values_;
};

// Entries in a row; failures and nulls as in an array.
class ZELREKERNEL_EXPORT vJSONObject : public vSmartPtrObject {
public:
    // A new object without entries; null without memory.
    static vSmartPtr<vJSONObject> Create();
    ~vJSONObject() override;
    vJSONObject(const vJSONObject&) = delete;
    vJSONObject& operator=(const vJSONObject&) = delete;

    // Each appends one entry and returns the object. A key pushed twice is written twice. A float
    // that is no number becomes "null".
    vJSONObject& PushEntry(const char* key, int value);
    vJSONObject& PushEntry(const char* key, float value);
    vJSONObject& PushEntry(const char* key, bool value);
    vJSONObject& PushEntry(const char* key, const char* value);
    // Copies the array.
    vJSONObject& PushEntry(const char* key, const vJSONArray& value);
    // Keeps `value` alive. One child is entered at most once per parent, whatever the key: a
    // second time does nothing. An object must not come to contain itself. O(log n) to find it.
    vJSONObject& PushEntry(const char* key, vSmartPtr<vJSONObject> value);

    // Appends the object's text to `out`. Numbers have a decimal point whatever the process's
    // numeric locale: another one than "C" is put aside meanwhile, so no other thread may format
    // numbers by it or change it during the call. Recursion is as deep as the nesting.
    void Serialize(std::string& out) const;

private:
    struct Entry;

    vJSONObject();
    vJSONObject& _Push(const char* key, vJSONEntryValue* value);

    std::vector<Entry> entries_;
    std::vector<const void*> pushedObjects_;  // identities, ascending for the search
};

}  // namespace ZKL
