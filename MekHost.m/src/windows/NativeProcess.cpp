#include "common/NativeProcess.h"

#include <windows.h>

#include <array>
#include <cerrno>
#include <memory>
#include <string>

#include "windows/CommandLine.h"
#include "windows/WideText.h"

namespace mek {
namespace {

constexpr std::size_t kLongestCommandLine = 32767;  // with its end mark
constexpr DWORD kElevationRequired = 740;           // missing in the compiler's headers

// The standard streams as a child may have them: copies of their handles that are inherited, and a
// list that says that nothing else is.
class Streams {
public:
    Streams() {
        constexpr DWORD kNumbers[] = {STD_INPUT_HANDLE, STD_OUTPUT_HANDLE, STD_ERROR_HANDLE};
        for (std::size_t i = 0; i < handles_.size(); ++i) {
            HANDLE copy = nullptr;
            const HANDLE process = GetCurrentProcess();
            const HANDLE stream = GetStdHandle(kNumbers[i]);
            // The sign for no handle is also the sign for this process.
            if (stream != INVALID_HANDLE_VALUE &&
                DuplicateHandle(process, stream, process, &copy, 0, TRUE, DUPLICATE_SAME_ACCESS)) {
                handles_[i] = copy;
                inherited_[count_++] = copy;
            }
        }
    }
    ~Streams() {
        for (std::size_t i = 0; i < count_; ++i) {
            CloseHandle(inherited_[i]);
        }
        if (list_) {
            DeleteProcThreadAttributeList(list_);
        }
    }
    Streams(const Streams&) = delete;
    Streams& operator=(const Streams&) = delete;

    // False when the system refuses. `info` refers to this object.
    bool FillIn(STARTUPINFOEXW& info) {
        info.StartupInfo.cb = sizeof info;
        info.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
        info.StartupInfo.hStdInput = handles_[0];
        info.StartupInfo.hStdOutput = handles_[1];
        info.StartupInfo.hStdError = handles_[2];
        if (count_ == 0) {
            return true;
        }
        SIZE_T bytes = 0;
        InitializeProcThreadAttributeList(nullptr, 1, 0, &bytes);
        memory_ = std::make_unique<std::byte[]>(bytes);
        auto* const list = reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(memory_.get());
        if (!InitializeProcThreadAttributeList(list, 1, 0, &bytes)) {
            return false;
        }
        info.lpAttributeList = list_ = list;
        return UpdateProcThreadAttribute(list_, 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST,
                                         inherited_.data(), count_ * sizeof(HANDLE), nullptr,
                                         nullptr) != 0;
    }
    bool AreInherited() const { return count_ > 0; }

private:
    std::array<HANDLE, 3> handles_{};
    std::array<HANDLE, 3> inherited_{};
    std::size_t count_ = 0;
    std::unique_ptr<std::byte[]> memory_;
    LPPROC_THREAD_ATTRIBUTE_LIST list_ = nullptr;
};

// The numbers of MekStartProcess for what the system says.
int ErrorOf(DWORD error) {
    switch (error) {
        case ERROR_FILE_NOT_FOUND:
        case ERROR_PATH_NOT_FOUND:
        case ERROR_INVALID_NAME:
        case ERROR_BAD_PATHNAME:
        case ERROR_BAD_NETPATH:
        case ERROR_DIRECTORY:
            return ENOENT;
        case ERROR_FILENAME_EXCED_RANGE:
            return E2BIG;
        case ERROR_BAD_EXE_FORMAT:
        case ERROR_EXE_MACHINE_TYPE_MISMATCH:
        case ERROR_ACCESS_DENIED:
        case kElevationRequired:
            return ENOEXEC;
        case ERROR_NOT_ENOUGH_MEMORY:
        case ERROR_OUTOFMEMORY:
        case ERROR_COMMITMENT_LIMIT:
            return ENOMEM;
        default:
            return EIO;
    }
}

bool IsFile(const std::wstring& path) {
    const DWORD attributes = GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && !(attributes & FILE_ATTRIBUTE_DIRECTORY);
}

// The file of a program, with the extension where the name comes without. A name without a
// directory is looked up where the system looks for programs; empty when it is not found there.
std::wstring FindProgram(const std::wstring& path) {
    if (path.find_first_of(L"/\\:") != std::wstring::npos) {
        const std::wstring extended = path + L".exe";
        return !IsFile(path) && IsFile(extended) ? extended : path;
    }
    std::wstring found(MAX_PATH, L'\0');
    for (;;) {
        const auto room = static_cast<DWORD>(found.size());
        const DWORD size = SearchPathW(nullptr, path.c_str(), L".exe", room, found.data(), nullptr);
        found.resize(size);
        if (size < room) {
            return found;
        }
    }
}

int WaitForExit(HANDLE process) {
    WaitForSingleObject(process, INFINITE);
    DWORD code = 0;
    GetExitCodeProcess(process, &code);
    return static_cast<int>(code);
}

}  // namespace

int RunProgram(const char* path, const char* const* arguments, bool wait, int* exitCode) {
    const std::wstring program = FindProgram(ToWide(path));
    if (program.empty()) {
        return ENOENT;
    }
    std::wstring line = CommandLine(arguments);
    if (line.size() >= kLongestCommandLine) {
        return E2BIG;
    }
    Streams streams;
    STARTUPINFOEXW info{};
    PROCESS_INFORMATION process{};
    if (!streams.FillIn(info) ||
        !CreateProcessW(program.c_str(), line.data(), nullptr, nullptr, streams.AreInherited(),
                        EXTENDED_STARTUPINFO_PRESENT, nullptr, nullptr, &info.StartupInfo,
                        &process)) {
        return ErrorOf(GetLastError());
    }
    CloseHandle(process.hThread);
    if (wait) {
        *exitCode = WaitForExit(process.hProcess);
    }
    CloseHandle(process.hProcess);
    return 0;
}

}  // namespace mek
