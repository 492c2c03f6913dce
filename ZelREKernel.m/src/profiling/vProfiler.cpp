#include "ZelREKernel/profiling/vProfiler.h"

#include <chrono>
#include <new>

#include "MekHost/assertion/MekCheck.h"
#include "profiling/CurrentThread.h"
#include "profiling/ProfilerState.h"

namespace ZKL {

// On Windows users import the constants of an exported class as they do its functions.
constexpr std::uint32_t vProfiler::kNone;
constexpr std::uint32_t vProfiler::kDefaultCategory;

constinit std::atomic<bool> vProfiler::s_isEnabled{false};

namespace {

constinit std::atomic<std::uint32_t> s_threadCount{0};
constinit std::atomic<std::uint32_t> s_flowCount{0};

ThreadRecords* AdoptRecords() noexcept {
    ThreadRecords* const records = ProfilerState::Get().Adopt(vProfiler::GetThreadIndex());
    CurrentThread::Records::Set(records);
    return records;
}

inline ThreadRecords* GetRecords() noexcept {
    ThreadRecords* records = CurrentThread::Records::Get();
    return records ? records : AdoptRecords();
}

inline std::int64_t Now() noexcept {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::nanoseconds>(now).count();
}

// A slot filled with everything but the time.
inline void Fill(vTraceRecord& slot, const ThreadRecords& records, char phase, std::uint32_t nameId,
                 std::uint32_t categoryId) noexcept {
    slot.categoryId = categoryId;
    slot.nameId = nameId;
    slot.argNameId = vProfiler::kNone;
    slot.value.text = nullptr;
    slot.pid = 0;
    slot.tid = records.GetThreadIndex();
    slot.flowId = vProfiler::kNone;
    slot.argKind = vTraceRecord::eArgNone;
    slot.phase = phase;
}

inline void SetArgument(vTraceRecord& slot, std::uint32_t argNameId, std::uint32_t argKind,
                        vTraceRecord::Value value) noexcept {
    slot.argNameId = argNameId;
    slot.argKind = argKind;
    slot.value = value;
}

// Records one event whose slot `complete` finishes, if the profiler is on.
template <typename Complete>
inline void RecordEvent(char phase, std::uint32_t nameId, std::uint32_t categoryId,
                        Complete complete) noexcept {
    if (!vProfiler::IsEnabled()) {
        return;
    }
    ThreadRecords* records = GetRecords();
    vTraceRecord* slot = records ? records->Claim() : nullptr;
    if (slot) {
        Fill(*slot, *records, phase, nameId, categoryId);
        complete(*slot);
        slot->timestamp = Now();
        records->Publish();
    }
}

void RecordFlow(char phase, std::uint32_t flowId) noexcept {
    // One name and one category for all: viewers pair the points of a flow by both and the
    // identifier.
    RecordEvent(phase, NameTable::eFlow, NameTable::eFlow,
                [=](vTraceRecord& slot) { slot.flowId = flowId; });
}

bool RecordFlowAt(ThreadRecords& records, char phase, std::uint32_t flowId,
                  std::int64_t timestamp) noexcept {
    vTraceRecord* slot = records.Claim();
    if (!slot) {
        return false;
    }
    Fill(*slot, records, phase, NameTable::eFlow, NameTable::eFlow);
    slot->flowId = flowId;
    slot->timestamp = timestamp;
    records.Publish();
    return true;
}

}  // namespace

std::uint32_t vProfiler::RegisterName(const char* text) noexcept {
    try {
        return ProfilerState::Get().GetNames().Register(text ? text : "");
    } catch (const std::bad_alloc&) {
        return kNone;
    }
}

const char* vProfiler::LookUpName(std::uint32_t nameId) noexcept {
    return ProfilerState::Get().GetNames().LookUp(nameId).text;
}

void vProfiler::LockNames() noexcept {
    ProfilerState::Get().GetNames().lock();
}

void vProfiler::UnlockNames() noexcept {
    ProfilerState::Get().GetNames().unlock();
}

void vProfiler::RecordCounter(std::uint32_t nameId, std::uint32_t value,
                              std::uint32_t categoryId) noexcept {
    RecordEvent('C', nameId, categoryId, [=](vTraceRecord& slot) {
        SetArgument(slot, nameId, vTraceRecord::eArgNumber, {.number = value});
    });
}

void vProfiler::RecordInstant(std::uint32_t nameId, std::uint32_t categoryId) noexcept {
    RecordEvent('i', nameId, categoryId, [](vTraceRecord&) {});
}

void vProfiler::RecordFrame(std::uint32_t index) noexcept {
    RecordEvent('i', NameTable::eFrame, NameTable::eFrameCategory, [=](vTraceRecord& slot) {
        SetArgument(slot, NameTable::eFrameCategory, vTraceRecord::eArgNumber, {.number = index});
    });
}

void vProfiler::RecordFlowStart(std::uint32_t flowId) noexcept {
    RecordFlow('s', flowId);
}

void vProfiler::RecordFlowStep(std::uint32_t flowId) noexcept {
    RecordFlow('t', flowId);
}

void vProfiler::RecordFlowEnd(std::uint32_t flowId) noexcept {
    RecordFlow('t', flowId);
}

void vProfiler::RecordMetaData(std::uint32_t kind, const char* text, std::uint32_t value) noexcept {
    static constexpr std::uint32_t kNames[] = {NameTable::eProcessName, NameTable::eThreadName,
                                               NameTable::eThreadSortIndex};
    ProfilerState& state = ProfilerState::Get();
    vTraceRecord record;
    if (kind < std::size(kNames)) {
        record.nameId = kNames[kind];
    } else {
        Check_TRUE_Failed__("Unknown Metadata Type", "src/vProfiler", __LINE__);
    }
    try {
        text = text ? text : "";
        const bool isCopied = kind == eProcessName || kind == eThreadName;
        record.argNameId = NameTable::eName;
        record.argKind = vTraceRecord::eArgText;
        record.value.text = isCopied ? state.KeepText(text) : text;
        record.pid = value;
        record.tid = GetThreadIndex();
        record.timestamp = static_cast<std::int64_t>(state.GetTimer().GetElapsedTime() * 1000);
        record.phase = 'M';
        state.AddMetaData(record);
    } catch (const std::bad_alloc&) {
        // A nameless thread is better than a dead one.
    }
}

bool vProfiler::BeginScope(std::uint32_t nameId, std::uint32_t categoryId) noexcept {
    return BeginScope(nameId, categoryId, kNone, vTraceRecord::eArgNone, {.text = nullptr});
}

bool vProfiler::BeginScope(std::uint32_t nameId, std::uint32_t categoryId, std::uint32_t argNameId,
                           std::uint32_t argKind, vTraceRecord::Value value) noexcept {
    ThreadRecords* records = GetRecords();
    vTraceRecord* slot = records ? records->Claim() : nullptr;
    if (!slot) {
        return false;
    }
    records->CountOpenScope();
    Fill(*slot, *records, 'B', nameId, categoryId);
    SetArgument(*slot, argNameId, argKind, value);
    slot->timestamp = Now();
    records->Publish();
    return true;
}

bool vProfiler::BeginFlowScope(std::uint32_t nameId, std::uint32_t categoryId,
                               std::uint32_t argNameId, std::uint32_t flowId, char phase) noexcept {
    ThreadRecords* records = GetRecords();
    if (!records) {
        return false;
    }
    // Viewers tie a start or a step to the slice that is open, but a finish to the next slice that
    // begins: so the finish stands right before the beginning of its slice, at the same time.
    const std::int64_t now = Now();
    if (phase == 'f' && !RecordFlowAt(*records, phase, flowId, now)) {
        return false;
    }
    vTraceRecord* slot = records->Claim();
    if (!slot) {
        return false;
    }
    records->CountOpenScope();
    Fill(*slot, *records, 'B', nameId, categoryId);
    SetArgument(*slot, argNameId, vTraceRecord::eArgNumber, {.number = flowId});
    slot->timestamp = now;
    records->Publish();
    if (phase != 'f') {
        RecordFlowAt(*records, phase, flowId, now);
    }
    return true;
}

void vProfiler::EndScope(std::uint32_t nameId, std::uint32_t categoryId) noexcept {
    ThreadRecords* records = GetRecords();
    if (!records) {
        return;
    }
    const std::int64_t now = Now();
    vTraceRecord& slot = records->ClaimEnd();
    Fill(slot, *records, 'E', nameId, categoryId);
    slot.timestamp = now;
    records->Publish();
}

std::uint32_t vProfiler::GetThreadIndex() noexcept {
    std::uint32_t indexPlusOne = CurrentThread::IndexPlusOne::Get();
    if (indexPlusOne == 0) {
        // Relaxed: only the number matters.
        indexPlusOne = s_threadCount.fetch_add(1, std::memory_order_relaxed) + 1;
        CurrentThread::IndexPlusOne::Set(indexPlusOne);
    }
    return indexPlusOne - 1;
}

std::uint32_t vProfiler::NextFlowId() noexcept {
    std::uint32_t id = kNone;
    while (id == kNone) {
        id = s_flowCount.fetch_add(1, std::memory_order_relaxed);
    }
    return id;
}

}  // namespace ZKL
