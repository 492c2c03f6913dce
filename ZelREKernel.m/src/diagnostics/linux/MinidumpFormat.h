#pragma once

// The records of a minidump file that this library writes: little-endian, packed, offsets from the
// start of the file.
//
// Sources: "Minidump Files" and minidumpapiset.h of the Windows SDK's documentation for the
// records; for the numbers of the Linux streams and platform, the list that debuggers agree on.

#include <cstdint>

namespace ZKL::Minidump {

inline constexpr std::uint32_t kSignature = 0x504d444d;  // "MDMP"
inline constexpr std::uint32_t kVersion = 0xa793;
inline constexpr std::uint64_t kWithFullMemory = 2;

enum StreamType : std::uint32_t {
    eThreadList = 3,
    eModuleList = 4,
    eMemoryList = 5,
    eException = 6,
    eSystemInfo = 7,
    eMemory64List = 9,
    eMiscInfo = 15,
    eThreadNames = 24,
    eLinuxCpuInfo = 0x47670003,
    eLinuxProcStatus = 0x47670004,
    eLinuxCmdLine = 0x47670006,
    eLinuxAuxv = 0x47670008,
    eLinuxMaps = 0x47670009,
    // Beyond what the format reserves: the text of the crash report.
    eCrashReport = 0x5a4b0001,
};

#pragma pack(push, 4)

struct Location {
    std::uint32_t bytes;
    std::uint32_t offset;
};

struct Header {
    std::uint32_t signature;
    std::uint32_t version;
    std::uint32_t streamCount;
    std::uint32_t directoryOffset;
    std::uint32_t checksum;
    std::uint32_t time;  // seconds since 1970
    std::uint64_t flags;
};
static_assert(sizeof(Header) == 32);

struct DirectoryEntry {
    std::uint32_t type;
    Location location;
};
static_assert(sizeof(DirectoryEntry) == 12);

struct MemoryRange {
    std::uint64_t address;
    Location location;
};
static_assert(sizeof(MemoryRange) == 16);

struct Memory64Range {
    std::uint64_t address;
    std::uint64_t bytes;
};

struct Memory64Head {
    std::uint64_t count;
    std::uint64_t offset;  // where the first range's bytes lie; the others follow without a gap
};

struct Thread {
    std::uint32_t id;
    std::uint32_t suspendCount;
    std::uint32_t priorityClass;
    std::uint32_t priority;
    std::uint64_t environmentBlock;
    MemoryRange stack;
    Location context;
};
static_assert(sizeof(Thread) == 48);

struct ThreadName {
    std::uint32_t id;
    std::uint64_t offset;
};
static_assert(sizeof(ThreadName) == 12);

struct Module {
    std::uint64_t base;
    std::uint32_t bytes;
    std::uint32_t checksum;
    std::uint32_t time;
    std::uint32_t nameOffset;
    std::uint32_t version[13];
    Location identifier;
    Location misc;
    std::uint64_t reserved[2];
};
static_assert(sizeof(Module) == 108);

// Opens a module's identifier: the bytes of its build id follow.
inline constexpr std::uint32_t kBuildIdSignature = 0x4270454c;

struct Exception {
    std::uint32_t threadId;
    std::uint32_t alignment;
    std::uint32_t code;   // the signal's number
    std::uint32_t flags;  // its si_code
    std::uint64_t nested;
    std::uint64_t address;
    std::uint32_t parameterCount;
    std::uint32_t padding;
    std::uint64_t parameters[15];
    Location context;
};
static_assert(sizeof(Exception) == 168);

struct SystemInfo {
    std::uint16_t architecture;
    std::uint16_t level;
    std::uint16_t revision;
    std::uint8_t processors;
    std::uint8_t productType;
    std::uint32_t majorVersion;
    std::uint32_t minorVersion;
    std::uint32_t buildNumber;
    std::uint32_t platform;
    std::uint32_t versionTextOffset;
    std::uint16_t suite;
    std::uint16_t reserved;
    std::uint32_t processor[6];  // vendor, version and features as CPUID gives them
};
static_assert(sizeof(SystemInfo) == 56);
inline constexpr std::uint16_t kArchitectureAmd64 = 9;
inline constexpr std::uint32_t kPlatformLinux = 0x8201;

struct MiscInfo {
    std::uint32_t size;
    std::uint32_t flags;
    std::uint32_t processId;
    std::uint32_t createTime;
    std::uint32_t userTime;
    std::uint32_t kernelTime;
};
inline constexpr std::uint32_t kMiscHasProcessId = 1;

// The registers of a thread.
struct Context {
    std::uint64_t homes[6];
    std::uint32_t flags;
    std::uint32_t mxcsr;
    std::uint16_t cs, ds, es, fs, gs, ss;
    std::uint32_t eflags;
    std::uint64_t debug[6];
    std::uint64_t rax, rcx, rdx, rbx, rsp, rbp, rsi, rdi;
    std::uint64_t r8, r9, r10, r11, r12, r13, r14, r15;
    std::uint64_t rip;
    std::uint8_t floatSave[512];  // as FXSAVE leaves it
    std::uint64_t vectors[26][2];
    std::uint64_t vectorControl;
    std::uint64_t debugControl;
    std::uint64_t lastBranch[4];
};
static_assert(sizeof(Context) == 1232);
// Control, integer, segment and floating-point registers of an AMD64.
inline constexpr std::uint32_t kContextFull = 0x0010000f;

#pragma pack(pop)

}  // namespace ZKL::Minidump
