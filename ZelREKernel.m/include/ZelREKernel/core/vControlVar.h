#pragma once

// A process-wide register of variables that tools or the application may change while it runs. Code
// publishes the address of a variable of its own (a switch, a count, a factor) under a name and a
// category; it goes on reading the variable as before, at the cost of a plain load.
//
//     static bool s_wireframe = false;
//     ZKL::vControlVar::Register("wireframe", &s_wireframe, ZKL::vControlVar::eBool, kDrawing);
//     ZKL::vControlVar::SetValue("wireframe", true);
//
// Any thread may call anything, the static objects of a host that is linked with the library to
// their end; one lock guards the register, none the variables. A variable that other threads read
// meanwhile is best a std::atomic of its type, which has the same address.

#include <cstdint>

#include "ZelREKernel/ZelREKernelExport.h"

namespace ZKL {

class ZELREKERNEL_EXPORT vControlVar {
public:
    // The type of a variable: bool, a 32-bit unsigned integer, a 32-bit float.
    enum EType : std::uint32_t { eBool = 0, eUnsignedInt = 1, eFloat = 2 };
    // A number that the registering code chooses; the kernel gives none a meaning.
    enum ECategory : std::uint32_t {};

    vControlVar() = delete;

    // Adds the variable at `address`, aligned as its type wants it, to those that are called
    // `name`, which is copied. All variables of one name are set together; one that is registered
    // twice counts twice. Nothing is ever removed: the variable must live as long as the process. A
    // null pointer goes to the assertion sink. Throws std::bad_alloc, without effect.
    static void Register(const char* name, void* address, EType type, ECategory category);

    // Set the variables of that name whose type is the value's; the others of that name keep their
    // values, and a name that nobody has registered is no failure. A null name goes to the
    // assertion sink. O(variables of that name).
    static void SetValue(const char* name, unsigned int value);
    static void SetValue(const char* name, float value);
    static void SetValue(const char* name, bool value);

    // Sets every bool of the category, whatever its name; numbers are never touched.
    // O(all variables).
    static void SetCategoryValue(ECategory category, bool value);
};

}  // namespace ZKL
