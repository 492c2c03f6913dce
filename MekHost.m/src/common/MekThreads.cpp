#include "MekHost/system/MekThreads.h"

#include <atomic>

#include "MekHost/MekStatus.h"
#include "MekHost/assertion/MekCheck.h"
#include "MekHost/system/MekSignalStack.h"
#include "common/NativeThread.h"

struct MekThreads::Native {
    static void Main(void* self) noexcept;
    bool IsThere() const;
    bool IsThisThread() const;

    mek::ThreadSettings settings;
    void* argument = nullptr;
    std::uintptr_t handle = 0;
    bool isStarted = false;     // and not joined
    std::uint32_t process = 0;  // that started it
    // The thread that is inside Main, or null. Relaxed: a thread looks only for its own mark.
    std::atomic<const void*> runner{nullptr};
    bool* isDeleted = nullptr;  // Main's, to be told by a deletion from inside Run()
    std::int32_t returned = 0;  // by Run(), the thread's own until it is joined
    std::int32_t exitCode = 0;
};

// Out of Run() no exception can go on: noexcept ends the process.
void MekThreads::Native::Main(void* self) noexcept {
    const MekSignalStack stack;
    auto* const thread = static_cast<MekThreads*>(self);
    Native* const native = thread->native_;
    bool isDeleted = false;
    native->isDeleted = &isDeleted;
    native->runner.store(mek::ThisThread(), std::memory_order_relaxed);
    const std::int32_t returned = thread->Run();
    if (!isDeleted) {
        native->returned = returned;
        native->runner.store(nullptr, std::memory_order_relaxed);
    }
}

bool MekThreads::Native::IsThere() const {
    return isStarted && process == mek::ThisProcess();
}

bool MekThreads::Native::IsThisThread() const {
    return IsThere() && runner.load(std::memory_order_relaxed) == mek::ThisThread();
}

MekThreads::MekThreads(const char* name, void* argument, int processor, std::size_t stackBytes,
                       int /*flags*/)
    : native_(new Native) {
    native_->settings = {name ? name : "", processor, stackBytes};
    native_->argument = argument;
}

MekThreads::~MekThreads() {
    if (native_->IsThere()) {
        CheckFailure__("a MekThreads is destroyed before it was joined", __FILE__, __LINE__);
        if (native_->IsThisThread()) {
            mek::DetachThread(native_->handle);
            *native_->isDeleted = true;
        } else {
            Join();
        }
    }
    delete native_;
}

std::int32_t MekThreads::Start(int flags) {
    if (native_->IsThere() || flags != 0 || native_->settings.processor < -1) {
        return kMekInvalidParameter;
    }
    native_->exitCode = 0;
    native_->isStarted = true;  // before the thread can look
    native_->process = mek::ThisProcess();
    const std::int32_t status =
        mek::StartThread(native_->settings, &Native::Main, this, &native_->handle);
    if (status != kMekOk) {
        native_->isStarted = false;
    }
    return status;
}

std::int32_t MekThreads::Join() {
    if (native_->IsThisThread()) {
        return kMekInvalidParameter;
    }
    if (native_->IsThere()) {
        mek::JoinThread(native_->handle);
        native_->isStarted = false;
        native_->exitCode = native_->returned;
    }
    return kMekOk;
}

bool MekThreads::IsJoinable() const {
    return native_->IsThere();
}

std::int32_t MekThreads::GetExitCode() const {
    return native_->exitCode;
}

void* MekThreads::Argument() const {
    return native_->argument;
}
