// What old programs rely on and a comparison of types does not see: places in virtual tables that
// two functions of one type could exchange, and constants that programs have copied.

#include <MekHost/MekStatus.h>
#include <ZelREKernel/ZelREKernel.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <utility>
#include <vector>

namespace {

// The place of a virtual function in the table, as the C++ ABI of both compilers (Itanium, 2.3)
// keeps it in a pointer to the function. A virtual destructor takes two places.
template <typename Function>
std::size_t PlaceOf(Function function) {
    std::size_t words[2];
    static_assert(sizeof(function) == sizeof(words));
    std::memcpy(words, &function, sizeof(words));
    return (words[0] - 1) / sizeof(void*);
}

// Opens what only derived classes see.
struct Module : ZKL::vModule {
    using vModule::_Clean;
    using vModule::_CreateDefaultResources;
    using vModule::_CreateSingletons;
    using vModule::_DestroyDefaultResources;
    using vModule::_DestroySingletons;
    using vModule::_EnableStreamedImplementation;
    using vModule::_LoadStatic;
};
struct RefPtrObject : ZKL::vRefPtrObject {
    using vRefPtrObject::_Construct;
    using vRefPtrObject::_Destroy;
};
struct SmartPtrObject : ZKL::vSmartPtrObject {
    using vSmartPtrObject::_Destroy;
};

TEST(Interface, VirtualFunctionsKeepTheirPlaces) {
    using Manager = ZKL::vBestFitAllocator::vMemoryManager;
    const std::vector<std::size_t> tables[] = {
        {PlaceOf(&ZKL::vLifeCycleModule::Initialize), PlaceOf(&ZKL::vLifeCycleModule::Terminate)},
        {PlaceOf(&ZKL::vLogger::Log)},
        {PlaceOf(
             static_cast<void (ZKL::vLoggerOutput::*)(const char*)>(&ZKL::vLoggerOutput::Write)),
         PlaceOf(static_cast<void (ZKL::vLoggerOutput::*)(const std::string&)>(
             &ZKL::vLoggerOutput::Write))},
        {PlaceOf(&ZKL::vRefPtrObject::GetReferenceCount), PlaceOf(&ZKL::vRefPtrObject::Destroy),
         PlaceOf(&RefPtrObject::_Construct), PlaceOf(&RefPtrObject::_Destroy)},
        {PlaceOf(&ZKL::vPageAllocator::AllocatePages), PlaceOf(&ZKL::vPageAllocator::FreePages),
         PlaceOf(&ZKL::vPageAllocator::GetPageSize)},
        {PlaceOf(&Manager::AllocateLargePage), PlaceOf(&Manager::AllocatePage),
         PlaceOf(&Manager::ReleasePage), PlaceOf(&Manager::BeginDefragment),
         PlaceOf(&Manager::MoveBlocks), PlaceOf(&Manager::Reserved),
         PlaceOf(&Manager::EndDefragment)},
        // Behind a destructor:
        {0, 1, PlaceOf(&ZKL::vAllocator::AllocateImpl), PlaceOf(&ZKL::vAllocator::FreeImpl)},
        {0, 1, PlaceOf(&ZelJSONWriter::Write)},
        {0, 1, PlaceOf(&Module::_LoadStatic), PlaceOf(&Module::_CreateSingletons),
         PlaceOf(&Module::_DestroySingletons), PlaceOf(&Module::_CreateDefaultResources),
         PlaceOf(&Module::_DestroyDefaultResources),
         PlaceOf(&Module::_EnableStreamedImplementation), PlaceOf(&Module::_Clean)},
        {0, 1, PlaceOf(&ZKL::vCacheData::GetReferenceCount),
         PlaceOf(&ZKL::vCacheData::GetWeakReferenceCount), PlaceOf(&ZKL::vCacheData::Destroy),
         PlaceOf(&SmartPtrObject::_Destroy), PlaceOf(&ZKL::vCacheData::GetSize),
         PlaceOf(&ZKL::vCacheData::Resize), PlaceOf(&ZKL::vCacheData::GetData),
         PlaceOf(&ZKL::vCacheData::Flush)},
    };
    for (const std::vector<std::size_t>& table : tables) {
        for (std::size_t place = 0; place < table.size(); ++place) {
            EXPECT_EQ(table[place], place) << "of table " << &table - tables;
        }
    }
}

// Those that no signature shows, and that a program compares with or passes as numbers.
TEST(Interface, ConstantsKeepTheirValues) {
    const std::pair<std::int64_t, std::int64_t> constants[] = {
        {kMekOk, 0},
        {kMekInvalidHandle, 6},
        {kMekOutOfMemory, 14},
        {kMekInvalidParameter, 87},
        {kMekNotFound, 203},
        {kMekTimeout, 258},
        {kMekTooManyPosts, 298},
        {kMekFailed, 1359},
        {kMekAddressInUse, 10048},
        {kMekDisconnected, 10054},
        {kMekConnectionRefused, 10061},
        {ZKL::vModule::kOk, 0},
        {ZKL::vModule::kAlreadyInitialized, 1247},
        {ZKL::vModule::kPointer, -2147467261},
        {ZKL::vModule::kOutOfMemory, -2147024882},
        {ZKL::vModule::kUnexpected, -2147418113},
        {ZKL::eReactionPrint, 1},
        {ZKL::eReactionCallStack, 2},
        {ZKL::eReactionAttach, 4},
        {ZKL::eReactionDump, 8},
        {ZKL::vTraceRecord::eArgText, 0},
        {ZKL::vTraceRecord::eArgNumber, 1},
        {ZKL::vProfiler::eProcessName, 0},
        {ZKL::vProfiler::eThreadName, 1},
        {ZKL::vProfiler::eThreadSortIndex, 2},
        {ZKL::vProfiler::kNone, 0xFFFFFFFF},
        {vCoalescentAllocator::InvalidId, 0xFFFFFFFF},
        {static_cast<std::int64_t>(ZKL::vBestFitAllocator::kFree), -1},
    };
    for (const auto& [value, kept] : constants) {
        EXPECT_EQ(value, kept);
    }
}

}  // namespace
