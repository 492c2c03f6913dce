#include "ZelREKernel/json/vJSONObject.h"

#include <algorithm>
#include <clocale>
#include <cmath>
#include <cstdio>
#include <functional>
#include <new>
#include <utility>

#include "ZelREKernel/core/vRefPtrObject.h"

namespace ZKL {

class vJSONEntryValue : public vRefPtrObject {
public:
    vJSONEntryValue() noexcept : vRefPtrObject(true) {}
    virtual void Serialize(std::string& out) const = 0;

protected:
    static void SerializeElements(const vJSONArray& array, std::string& out) {
        out += '[';
        const char* separator = "";
        for (const vRefPtr<vJSONEntryValue>& value : array.values_) {
            out += separator;
            value->Serialize(out);
            separator = ", ";
        }
        out += ']';
    }
};

namespace {

// Beyond this a float is written with an exponent.
constexpr float kFixedLimit = 1e9f;

class IntegerValue final : public vJSONEntryValue {
public:
    explicit IntegerValue(int value) noexcept : value_(value) {}
    void Serialize(std::string& out) const override { out += std::to_string(value_); }

private:
    int value_;
};

class FloatValue final : public vJSONEntryValue {
public:
    explicit FloatValue(float value) noexcept : value_(value) {}
    void Serialize(std::string& out) const override {
        if (std::isnan(value_)) {
            out += "null";
            return;
        }
        char text[32];
        const double wide = static_cast<double>(value_);
        if (std::fabs(value_) < kFixedLimit) {
            std::snprintf(text, sizeof text, "%f", wide);
        } else {
            std::snprintf(text, sizeof text, "%e", wide);
        }
        out += text;
    }

private:
    float value_;
};

class BooleanValue final : public vJSONEntryValue {
public:
    explicit BooleanValue(bool value) noexcept : value_(value) {}
    void Serialize(std::string& out) const override { out += value_ ? "true" : "false"; }

private:
    bool value_;
};

class StringValue final : public vJSONEntryValue {
public:
    explicit StringValue(const char* value) : value_(value ? value : "") {}
    void Serialize(std::string& out) const override {
        out += '"';
        for (const char c : value_) {
            out.append(c == '\\' ? 2 : 1, c);
        }
        out += '"';
    }

private:
    std::string value_;
};

class ArrayValue final : public vJSONEntryValue {
public:
    explicit ArrayValue(const vJSONArray& value) : value_(value) {}
    void Serialize(std::string& out) const override { SerializeElements(value_, out); }

private:
    vJSONArray value_;
};

class ObjectValue final : public vJSONEntryValue {
public:
    explicit ObjectValue(vSmartPtr<vJSONObject> value) noexcept : value_(std::move(value)) {}
    void Serialize(std::string& out) const override {
        if (value_) {
            value_->Serialize(out);
        }
    }

private:
    vSmartPtr<vJSONObject> value_;
};

// Numbers are written the "C" way while it lives.
class NumericLocaleScope {
public:
    NumericLocaleScope() {
        const std::string current = std::setlocale(LC_NUMERIC, nullptr);
        if (current != "C") {
            saved_ = current;
            std::setlocale(LC_NUMERIC, "C");
        }
    }
    ~NumericLocaleScope() {
        if (!saved_.empty()) {
            std::setlocale(LC_NUMERIC, saved_.c_str());
        }
    }
    NumericLocaleScope(const NumericLocaleScope&) = delete;
    NumericLocaleScope& operator=(const NumericLocaleScope&) = delete;

private:
    std::string saved_;
};

}  // namespace

vJSONArray::vJSONArray() noexcept = default;
vJSONArray::vJSONArray(const vJSONArray& other) = default;
vJSONArray::vJSONArray(vJSONArray&& other) noexcept = default;
vJSONArray& vJSONArray::operator=(const vJSONArray& other) = default;
vJSONArray& vJSONArray::operator=(vJSONArray&& other) noexcept = default;
vJSONArray::~vJSONArray() = default;

vJSONArray& vJSONArray::PushValue(float value) {
    return _Push(new FloatValue(value));
}

vJSONArray& vJSONArray::PushValue(bool value) {
    return _Push(new BooleanValue(value));
}

vJSONArray& vJSONArray::PushValue(const char* value) {
    return _Push(new StringValue(value));
}

vJSONArray& vJSONArray::PushValue(const vJSONArray& value) {
    return _Push(new ArrayValue(value));
}

vJSONArray& vJSONArray::PushValue(vSmartPtr<vJSONObject> value) {
    return _Push(new ObjectValue(std::move(value)));
}

// Takes over `value`, also when it throws.
vJSONArray& vJSONArray::_Push(vJSONEntryValue* value) {
    vRefPtr<vJSONEntryValue> owner(value);
    values_.push_back(std::move(owner));
    return *this;
}

struct vJSONObject::Entry {
    std::string key;
    vRefPtr<vJSONEntryValue> value;
};

vJSONObject::vJSONObject() = default;
vJSONObject::~vJSONObject() = default;

vSmartPtr<vJSONObject> vJSONObject::Create() {
    auto* const object = new (std::nothrow) vJSONObject;
    vSmartPtr<vJSONObject> owner(object);
    if (!owner) {
        delete object;  // it got no link, so it cannot be shared
    }
    return owner;
}

vJSONObject& vJSONObject::PushEntry(const char* key, int value) {
    return _Push(key, new IntegerValue(value));
}

vJSONObject& vJSONObject::PushEntry(const char* key, float value) {
    return _Push(key, new FloatValue(value));
}

vJSONObject& vJSONObject::PushEntry(const char* key, bool value) {
    return _Push(key, new BooleanValue(value));
}

vJSONObject& vJSONObject::PushEntry(const char* key, const char* value) {
    return _Push(key, new StringValue(value));
}

vJSONObject& vJSONObject::PushEntry(const char* key, const vJSONArray& value) {
    return _Push(key, new ArrayValue(value));
}

vJSONObject& vJSONObject::PushEntry(const char* key, vSmartPtr<vJSONObject> value) {
    const void* const identity = value.GetIdentity();
    const auto place = std::lower_bound(pushedObjects_.begin(), pushedObjects_.end(), identity,
                                        std::less<const void*>());
    if (place != pushedObjects_.end() && *place == identity) {
        return *this;
    }
    const auto recorded = pushedObjects_.insert(place, identity);
    try {
        return _Push(key, new ObjectValue(std::move(value)));
    } catch (...) {
        pushedObjects_.erase(recorded);
        throw;
    }
}

// Takes over `value`, also when it throws.
vJSONObject& vJSONObject::_Push(const char* key, vJSONEntryValue* value) {
    vRefPtr<vJSONEntryValue> owner(value);
    entries_.push_back({key ? key : "", std::move(owner)});
    return *this;
}

void vJSONObject::Serialize(std::string& out) const {
    const NumericLocaleScope scope;
    out += "{\n";
    const char* separator = "";
    for (const Entry& entry : entries_) {
        out += separator;
        out += '"';
        out += entry.key;
        out += "\" : ";
        entry.value->Serialize(out);
        separator = ",\n";
    }
    out += "\n}";
}

}  // namespace ZKL
