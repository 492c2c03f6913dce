#include "ZelREKernel/profiling/vProfilerManager.h"

#include <array>
#include <cstring>
#include <mutex>
#include <utility>

#include "ZelREKernel/base/vSlimLock.h"
#include "ZelREKernel/profiling/vProfiler.h"
#include "ZelREKernel/profiling/vZeloProfilerUtil.h"
#include "profiling/DecimalText.h"
#include "profiling/ProfilerState.h"
#include "profiling/RecordMerge.h"
#include "profiling/TraceFile.h"

namespace ZKL {

// What a flush works with; everything under the lock.
class vProfilerManager::Trace {
public:
    void SetDirectory(std::filesystem::path directory) {
        const std::lock_guard guard(lock_);
        directory_ = std::move(directory);
        file_.Close();
    }
    void SetEncryptionMode(EEncryptionMode mode) noexcept {
        const std::lock_guard guard(lock_);
        mode_ = mode;
    }
    void Close() noexcept {
        const std::lock_guard guard(lock_);
        file_.Close();
    }
    void Finish() noexcept;
    // Throws std::bad_alloc, and what a directory that is no path of the system's makes it throw;
    // before anything was read.
    bool Flush();

private:
    static constexpr std::size_t kBatch = 1024;
    static constexpr std::size_t kCounterText = sizeof "{\"value\":4294967295}";

    bool _Open();
    void _WriteMetaData();
    void _WriteEvents(std::vector<ThreadRecords*> sources);
    void _SpellCounters(std::size_t count) noexcept;

    vSlimLock lock_;
    std::filesystem::path directory_;
    EEncryptionMode mode_ = eEncryptionNone;
    TraceFile file_;
    std::size_t metaDataWritten_ = 0;  // of those in the profiler, into this file
    std::array<vTraceRecord, kBatch> batch_;
    std::array<std::array<char, kCounterText>, kBatch> counterTexts_;
};

void vProfilerManager::Trace::Finish() noexcept {
    if (file_.IsOpen()) {
        try {
            Flush();
        } catch (...) {
            // The file is complete as it is.
        }
    }
}

bool vProfilerManager::Trace::Flush() {
    const std::lock_guard guard(lock_);
    if (!file_.IsOpen() && !_Open()) {
        return false;
    }
    vProfiler::RecordInstant(NameTable::eStartFlushProfiler);
    std::vector<ThreadRecords*> sources = ProfilerState::Get().GetAllRecords();
    std::vector<ThreadRecords*> again = sources;
    file_.BeginBatch();
    _WriteMetaData();
    _WriteEvents(std::move(sources));
    // Once more, so that the flush's own end is not left for the next one.
    vProfiler::RecordInstant(NameTable::eEndFlushProfiler);
    _WriteEvents(std::move(again));
    file_.EndBatch();
    return true;
}

bool vProfilerManager::Trace::_Open() {
    const bool isScrambled = mode_ == eEncryptionXOR;
    if (!file_.Open(directory_, {.startTime = 0,
                                 .isScrambled = isScrambled,
                                 .key = isScrambled ? vZeloProfilerUtil::kKey : 0})) {
        return false;
    }
    metaDataWritten_ = 0;
    if (!ProfilerState::Get().HasMetaData(NameTable::eProcessName)) {
        vProfiler::RecordMetaData(vProfiler::eProcessName, "Application", 0);
    }
    return true;
}

void vProfilerManager::Trace::_WriteMetaData() {
    while (const std::size_t count =
               ProfilerState::Get().CopyMetaData(metaDataWritten_, batch_.data(), kBatch)) {
        file_.Write({batch_.data(), count});
        metaDataWritten_ += count;
    }
}

void vProfilerManager::Trace::_WriteEvents(std::vector<ThreadRecords*> sources) {
    RecordMerge merge(std::move(sources));
    while (const std::size_t count = merge.Read(batch_)) {
        _SpellCounters(count);
        file_.Write({batch_.data(), count});
    }
}

// A numeric argument is written as a text, of which viewers draw no graph: a counter gets its
// number as an object, spelled out here.
void vProfilerManager::Trace::_SpellCounters(std::size_t count) noexcept {
    constexpr char kBegin[] = "{\"value\":";
    for (std::size_t i = 0; i < count; ++i) {
        vTraceRecord& record = batch_[i];
        if (record.phase == 'C') {
            char* text = counterTexts_[i].data();
            std::memcpy(text, kBegin, sizeof kBegin - 1);
            char* end = WriteDecimal(text + sizeof kBegin - 1, record.value.number);
            std::memcpy(end, "}", 2);
            record.argNameId = vProfiler::kNone;
            record.argKind = vTraceRecord::eArgText;
            record.value.text = text;
        }
    }
}

namespace {

constinit vSlimLock s_instanceLock;
constinit vProfilerManager* s_instance = nullptr;

}  // namespace

vProfilerManager& vProfilerManager::CreateInstance() {
    static const struct AtUnload {
        ~AtUnload() { DestroyInstance(); }
    } s_atUnload;
    const std::lock_guard guard(s_instanceLock);
    if (!s_instance) {
        s_instance = new vProfilerManager;
    }
    return *s_instance;
}

vProfilerManager& vProfilerManager::GetInstance() {
    return CreateInstance();
}

void vProfilerManager::DestroyInstance() noexcept {
    const std::lock_guard guard(s_instanceLock);
    delete std::exchange(s_instance, nullptr);
}

vProfilerManager::vProfilerManager() : trace_(std::make_unique<Trace>()) {}

vProfilerManager::~vProfilerManager() {
    TurnOff();
    trace_->Finish();
}

void vProfilerManager::TurnOn() noexcept {
    vProfiler::s_isEnabled.store(true, std::memory_order_relaxed);
}

void vProfilerManager::TurnOff() noexcept {
    vProfiler::s_isEnabled.store(false, std::memory_order_relaxed);
}

void vProfilerManager::SetProcessName(const char* name) noexcept {
    vProfiler::RecordMetaData(vProfiler::eProcessName, name, 0);
}

void vProfilerManager::SetTraceDirectory(const char* directory) {
    const auto* utf8 = reinterpret_cast<const char8_t*>(directory ? directory : "");
    trace_->SetDirectory(std::filesystem::path(utf8));
}

void vProfilerManager::SetEncryptionMode(EEncryptionMode mode) noexcept {
    trace_->SetEncryptionMode(mode);
}

bool vProfilerManager::FlushProfiler() noexcept {
    try {
        return trace_->Flush();
    } catch (...) {
        return false;
    }
}

void vProfilerManager::CloseTrace() noexcept {
    trace_->Close();
}

}  // namespace ZKL
