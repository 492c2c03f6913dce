#include "diagnostics/linux/MinidumpWriter.h"

#include <cpuid.h>
#include <elf.h>
#include <fcntl.h>
#include <sched.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <ctime>
#include <iterator>

#include "diagnostics/linux/DumpFile.h"
#include "diagnostics/linux/ProcessMaps.h"

namespace ZKL {
namespace {

using namespace Minidump;  // NOLINT(google-build-using-namespace): this file speaks that format

constexpr std::uint64_t kPage = 4096;
// Of a stack, what lies above the stack pointer; the rest is in the memory at the end of the file.
constexpr std::uint64_t kMostOfStack = std::uint64_t{1} << 20;
// Code may use so much below the stack pointer.
constexpr std::uint64_t kRedZone = 128;
// The streams before the memory are found by 32-bit offsets.
constexpr std::uint64_t kMostBeforeMemory = std::uint64_t{1} << 31;

// One dump, stream by stream.
class Writer {
public:
    Writer(const char* path, const Fault* fault, const StoppedThreads& threads)
        : fault_(fault), file_(path), threads_(threads) {}

    bool Write();

private:
    void AddStream(StreamType type, Location location);
    template <typename T>
    void AddList(StreamType type, const RawArray<T>& list);
    void AddThreads();
    void AddException();
    void AddModules();
    void AddModule(const Mapping& first, std::uint64_t end, RawArray<Module>& modules);
    Location AppendBuildId(std::uint64_t base, bool& elf);
    void AddSystem();
    void AddFiles();
    void AddMemory();
    void AppendMapping(const Mapping& mapping);

    const Fault* fault_;
    DumpFile file_;
    const StoppedThreads& threads_;
    MapList maps_;
    int pagemap_ = -1;
    Location askingContext_ = {};
    std::uint32_t askingId_ = 0;
    DirectoryEntry streams_[16] = {};
    std::uint32_t streamCount_ = 0;
};

void Writer::AddStream(StreamType type, Location location) {
    streams_[streamCount_++] = {type, location};
}

template <typename T>
void Writer::AddList(StreamType type, const RawArray<T>& list) {
    const auto count = static_cast<std::uint32_t>(list.Size());
    Location location = file_.Append(&count, sizeof(count));
    location.bytes += file_.Append(list.begin(), list.Bytes()).bytes;
    AddStream(type, location);
}

bool Writer::Write() {
    if (!file_.Good() || !maps_.Read()) {
        return false;
    }
    file_.Skip(sizeof(Header) + sizeof(streams_));
    AddSystem();
    AddThreads();
    AddException();
    AddModules();
    AddFiles();
    AddStream(eCrashReport, file_.AppendReport());
    AddMemory();
    const Header header = {kSignature,     kVersion, streamCount_,
                           sizeof(Header), 0,        static_cast<std::uint32_t>(time(nullptr)),
                           kWithFullMemory};
    file_.Overwrite(0, &header, sizeof(header));
    file_.Overwrite(sizeof(header), streams_, sizeof(streams_));
    file_.Finish();
    return file_.Good();
}

void Writer::AddThreads() {
    const std::size_t count = threads_.Threads().Size();
    RawArray<Thread> list(count);
    RawArray<ThreadName> names(count);
    RawArray<MemoryRange> stacks(count);
    for (const StoppedThread& stopped : threads_.Threads()) {
        Thread thread = {};
        thread.id = static_cast<std::uint32_t>(stopped.id);
        thread.context = file_.Append(&stopped.registers, sizeof(stopped.registers));
        if (list.Size() == 0) {
            askingContext_ = thread.context;
            askingId_ = thread.id;
        }
        // After an overflow the stack pointer lies in the guard pages below the stack.
        const std::uint64_t top = stopped.registers.rsp - kRedZone;
        const Mapping* const stack = stopped.known ? maps_.Find(top, kMostOfStack) : nullptr;
        if (stack != nullptr && file_.Position() < kMostBeforeMemory) {
            thread.stack.address = std::max(top, stack->begin);
            const std::uint64_t bytes = std::min(stack->end - thread.stack.address, kMostOfStack);
            thread.stack.location = {static_cast<std::uint32_t>(bytes),
                                     static_cast<std::uint32_t>(file_.Position())};
            file_.AppendMemory(thread.stack.address, bytes);
            stacks.Push(thread.stack);
        }
        list.Push(thread);
        names.Push({thread.id, file_.AppendText(stopped.name.View())});
    }
    AddList(eThreadList, list);
    AddList(eThreadNames, names);
    AddList(eMemoryList, stacks);
}

void Writer::AddException() {
    if (fault_ == nullptr) {
        return;
    }
    const siginfo_t& signal = *fault_->signal;
    Exception exception = {};
    exception.threadId = askingId_;
    exception.code = static_cast<std::uint32_t>(signal.si_signo);
    exception.flags = static_cast<std::uint32_t>(signal.si_code);
    const bool atAddress = signal.si_code > 0 && signal.si_signo != SIGABRT;
    exception.address = atAddress ? reinterpret_cast<std::uint64_t>(signal.si_addr) : 0;
    exception.context = askingContext_;
    AddStream(eException, file_.Append(&exception, sizeof(exception)));
}

// A module is a file's mappings one behind the other; memory of no file may lie between them.
void Writer::AddModules() {
    RawArray<Module> modules(maps_.Mappings().Size());
    const Mapping* first = nullptr;
    std::uint64_t end = 0;
    for (const Mapping& mapping : maps_.Mappings()) {
        const char* const path = maps_.PathOf(mapping);
        if (path[0] != '/') {
            continue;
        }
        if (first != nullptr && mapping.offset != 0 &&
            std::strcmp(maps_.PathOf(*first), path) == 0) {
            end = mapping.end;
            continue;
        }
        if (first != nullptr) {
            AddModule(*first, end, modules);
        }
        first = mapping.offset == 0 ? &mapping : nullptr;
        end = mapping.end;
    }
    if (first != nullptr) {
        AddModule(*first, end, modules);
    }
    AddList(eModuleList, modules);
}

void Writer::AddModule(const Mapping& first, std::uint64_t end, RawArray<Module>& modules) {
    bool elf = false;
    const Location identifier = AppendBuildId(first.begin, elf);
    if (!elf) {
        return;
    }
    Module module = {};
    module.base = first.begin;
    module.bytes = static_cast<std::uint32_t>(end - first.begin);
    module.nameOffset = file_.AppendText(maps_.PathOf(first));
    module.identifier = identifier;
    modules.Push(module);
}

// Source: elf(5), "Notes" for the layout, NT_GNU_BUILD_ID for the identifier.
Location Writer::AppendBuildId(std::uint64_t base, bool& elf) {
    Elf64_Ehdr head = {};
    elf = ReadMemory(base, &head, sizeof(head)) && std::memcmp(head.e_ident, ELFMAG, SELFMAG) == 0;
    for (unsigned i = 0; elf && i < head.e_phnum; ++i) {
        Elf64_Phdr part = {};
        if (!ReadMemory(base + head.e_phoff + i * sizeof(part), &part, sizeof(part)) ||
            part.p_type != PT_NOTE) {
            continue;
        }
        Elf64_Nhdr note = {};
        const auto padded = [](std::uint64_t bytes) { return (bytes + 3) & ~std::uint64_t{3}; };
        for (std::uint64_t at = 0; at + sizeof(note) <= part.p_memsz;) {
            const std::uint64_t address = base + part.p_vaddr + at;
            if (!ReadMemory(address, &note, sizeof(note))) {
                break;
            }
            const std::uint64_t body = address + sizeof(note) + padded(note.n_namesz);
            if (note.n_type == NT_GNU_BUILD_ID && note.n_descsz <= 64) {
                std::uint8_t record[4 + 64];
                std::memcpy(record, &kBuildIdSignature, 4);
                if (ReadMemory(body, record + 4, note.n_descsz)) {
                    return file_.Append(record, 4 + note.n_descsz);
                }
            }
            at += sizeof(note) + padded(note.n_namesz) + padded(note.n_descsz);
        }
    }
    return {};
}

void Writer::AddSystem() {
    utsname name = {};
    uname(&name);
    RawText<sizeof(name)> text;
    text += name.sysname;
    text += " ";
    text += name.release;
    text += " ";
    text += name.version;
    std::string_view release(name.release);
    SystemInfo system = {};
    std::uint32_t* const versions[] = {&system.majorVersion, &system.minorVersion,
                                       &system.buildNumber};
    for (std::uint32_t* version : versions) {
        *version = static_cast<std::uint32_t>(TakeNumber(release, 10));
        release.remove_prefix(std::min<std::size_t>(release.size(), 1));
    }
    system.versionTextOffset = file_.AppendText(text.View());
    system.architecture = kArchitectureAmd64;
    system.platform = kPlatformLinux;
    cpu_set_t usable;
    if (sched_getaffinity(0, sizeof(usable), &usable) == 0) {
        system.processors = static_cast<std::uint8_t>(std::min(CPU_COUNT(&usable), 255));
    }
    unsigned a = 0;
    unsigned b = 0;
    unsigned c = 0;
    unsigned d = 0;
    __cpuid(0, a, b, c, d);
    system.processor[0] = b;
    system.processor[1] = d;
    system.processor[2] = c;
    __cpuid(1, a, b, c, d);
    system.processor[3] = a;
    system.processor[4] = d;
    // Family, then model and stepping, each with its extension.
    system.level = static_cast<std::uint16_t>((a >> 8 & 0xf) + (a >> 20 & 0xff));
    system.revision =
        static_cast<std::uint16_t>(((a >> 4 & 0xf) | (a >> 12 & 0xf0)) << 8 | (a & 0xf));
    AddStream(eSystemInfo, file_.Append(&system, sizeof(system)));

    // This process and the one that asks share their memory, not their number.
    const MiscInfo misc = {
        sizeof(misc), kMiscHasProcessId, static_cast<std::uint32_t>(threads_.Process()), 0, 0, 0};
    AddStream(eMiscInfo, file_.Append(&misc, sizeof(misc)));
}

void Writer::AddFiles() {
    const struct {
        StreamType type;
        const char* name;
    } files[] = {{eLinuxProcStatus, "status"},
                 {eLinuxCmdLine, "cmdline"},
                 {eLinuxAuxv, "auxv"},
                 {eLinuxMaps, "maps"}};
    for (const auto& file : files) {
        RawText<64> path;
        path += "/proc/";
        path += static_cast<std::uint64_t>(threads_.Process());
        path += "/";
        path += file.name;
        AddStream(file.type, file_.AppendFile(path.CString()));
    }
    AddStream(eLinuxCpuInfo, file_.AppendFile("/proc/cpuinfo"));
}

void Writer::AddMemory() {
    RawArray<Memory64Range> ranges(maps_.Mappings().Size());
    for (const Mapping& mapping : maps_.Mappings()) {
        if (mapping.readable && mapping.wanted) {
            ranges.Push({mapping.begin, mapping.end - mapping.begin});
        }
    }
    Memory64Head head = {ranges.Size(), 0};
    const auto bytes = static_cast<std::uint32_t>(sizeof(head) + ranges.Bytes());
    // Pages on pages of the file: the system copies those fastest.
    const std::uint64_t end = file_.Position() + bytes;
    const std::uint64_t padding = (kPage - end % kPage) % kPage;
    head.offset = end + padding;
    AddStream(eMemory64List, {bytes, static_cast<std::uint32_t>(file_.Position())});
    file_.Append(&head, sizeof(head));
    file_.Append(ranges.begin(), ranges.Bytes());
    file_.Skip(padding);
    pagemap_ = open("/proc/self/pagemap", O_RDONLY | O_CLOEXEC);
    for (const Mapping& mapping : maps_.Mappings()) {
        if (mapping.readable && mapping.wanted) {
            AppendMapping(mapping);
        }
    }
    if (pagemap_ >= 0) {
        close(pagemap_);
    }
}

// Memory that was never touched becomes a hole: most of a thread's stack, arenas kept in reserve.
// Source: pagemap(5) of the Linux documentation, bits 62 and 63 of an entry: swapped, present.
void Writer::AppendMapping(const Mapping& mapping) {
    std::uint64_t entries[512];
    std::uint64_t done = mapping.begin;
    bool used = true;
    for (std::uint64_t at = mapping.begin; mapping.anonymous && at < mapping.end && file_.Good();) {
        const std::uint64_t pages =
            std::min<std::uint64_t>((mapping.end - at) / kPage, std::size(entries));
        const ssize_t got = pread(pagemap_, entries, pages * 8, static_cast<off_t>(at / kPage * 8));
        if (got <= 0) {
            used = true;  // unknown: take it all
            break;
        }
        for (ssize_t i = 0; i < got / 8; ++i, at += kPage) {
            const bool touched = (entries[i] >> 62) != 0;
            if (touched != used) {
                used ? file_.AppendMemory(done, at - done) : file_.Skip(at - done);
                done = at;
                used = touched;
            }
        }
    }
    used ? file_.AppendMemory(done, mapping.end - done) : file_.Skip(mapping.end - done);
}

}  // namespace

bool WriteMinidump(const char* path, const Fault* fault, const StoppedThreads& threads) {
    Writer writer(path, fault, threads);
    return writer.Write();
}

}  // namespace ZKL
