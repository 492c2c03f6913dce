#include "MekHost/process/MekAbendInfo.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <thread>

#include "MekHost/MekStatus.h"
#include "common/NativeThread.h"
#include "common/RawWrite.h"

namespace {

constexpr std::size_t kBytesPerClass = 1024;
// Texts up to this size get their memory beforehand.
constexpr std::size_t kReserveAtMost = std::size_t{1} << 20;

// A lock that a signal handler may try for: trying never waits and never calls the system.
class TryableLock {
public:
    bool try_lock() { return !held_.exchange(true, std::memory_order_acquire); }
    void lock() {
        while (!try_lock()) {
            std::this_thread::yield();
        }
    }
    void unlock() { held_.store(false, std::memory_order_release); }

private:
    std::atomic<bool> held_{false};
};

// Where the newer half of a text begins, or better the first line in it.
std::size_t OldestHalf(std::string_view text) {
    const std::size_t half = (text.size() + 1) / 2;
    const std::size_t lineEnd = text.find('\n', half - 1);
    if (lineEnd != std::string_view::npos && lineEnd + 1 < text.size()) {
        return lineEnd + 1;
    }
    // One long line: cut before a whole character.
    std::size_t cut = half;
    while (cut < text.size() && (text[cut] & '\xC0') == '\x80') {
        ++cut;
    }
    return cut;
}

}  // namespace

struct MekAbendInfo::Section {
    void SetLimit(unsigned sizeClass) {
        limit = sizeClass * kBytesPerClass;
        text.reserve(2 * std::min(limit, kReserveAtMost));
        Trim();
    }
    void Append(std::string_view added) {
        // Of an addition that fills the section alone no more is taken than trimming it can use.
        if (limit && added.size() > limit) {
            text.clear();
            added = added.substr(added.size() - std::min(added.size(), 2 * limit));
        }
        text.append(added);
        Trim();
    }
    void Trim() {
        while (limit && text.size() > limit) {
            text.erase(0, OldestHalf(text));
        }
    }
    // Hands the section's part of the report to `write`, piece by piece; false when that fails.
    template <typename Write>
    bool WriteTo(Write write) const {
        const std::string_view end = text.ends_with('\n') ? "" : "\n";
        return write("==== ") && write(title) && write(" ====\n") && write(text) && write(end);
    }

    void EnterReport(bool keepOrder);
    void LeaveReport();

    // Guarded by `lock`.
    TryableLock lock;
    std::size_t limit = 0;  // bytes, 0 for none
    std::string title;
    std::string text;

    // The report is a list. Changes are made under s_listMutex; a signal handler follows the links
    // with no lock at all.
    std::atomic<Section*> next{nullptr};

    static std::mutex s_listMutex;
    static std::atomic<Section*> s_first;
    // How many signal handlers follow the list. A section that left the list is kept until none
    // does.
    static std::atomic<int> s_readers;
};

std::mutex MekAbendInfo::Section::s_listMutex;
std::atomic<MekAbendInfo::Section*> MekAbendInfo::Section::s_first{nullptr};
std::atomic<int> MekAbendInfo::Section::s_readers{0};

// The caller holds s_listMutex; the section is not in the list.
void MekAbendInfo::Section::EnterReport(bool keepOrder) {
    std::atomic<Section*>* place = &s_first;
    while (keepOrder && place->load()) {
        place = &place->load()->next;
    }
    next = place->load();
    *place = this;
}

// The caller holds s_listMutex.
void MekAbendInfo::Section::LeaveReport() {
    for (std::atomic<Section*>* place = &s_first; place->load(); place = &place->load()->next) {
        if (place->load() == this) {
            *place = next.load();
            return;
        }
    }
}

MekAbendInfo::MekAbendInfo(unsigned sizeClass) : section_(new Section) {
    section_->SetLimit(sizeClass);
}

MekAbendInfo::~MekAbendInfo() {
    // A thread that was ended inside the list would be waited for in vain: the section stays.
    if (mek::AreThreadsGone()) {
        return;
    }
    {
        const std::lock_guard guard(Section::s_listMutex);
        section_->LeaveReport();
    }
    while (Section::s_readers != 0) {
        std::this_thread::yield();
    }
    delete section_;
}

std::int32_t MekAbendInfo::SetInformationSpecs(unsigned sizeClass, const char* title, int inReport,
                                               int keepOrder) {
    if (!title) {
        return kMekInvalidParameter;
    }
    const std::lock_guard listGuard(Section::s_listMutex);
    section_->LeaveReport();
    {
        const std::lock_guard guard(section_->lock);
        section_->title = title;
        section_->SetLimit(sizeClass);
    }
    if (inReport) {
        section_->EnterReport(keepOrder != 0);
    }
    return kMekOk;
}

void MekAbendInfo::Append(const char* text) {
    if (text) {
        Append(std::string_view(text));
    }
}

void MekAbendInfo::Append(std::string_view text) {
    const std::lock_guard guard(section_->lock);
    section_->Append(text);
}

void MekAbendInfo::Clear() {
    const std::lock_guard guard(section_->lock);
    section_->text.clear();
}

std::string MekAbendInfo::GetText() const {
    const std::lock_guard guard(section_->lock);
    return section_->text;
}

std::string MekAbendInfo::WriteReport() {
    std::string report;
    const std::lock_guard listGuard(Section::s_listMutex);
    for (Section* section = Section::s_first; section; section = section->next) {
        const std::lock_guard guard(section->lock);
        section->WriteTo([&](std::string_view piece) {
            report += piece;
            return true;
        });
    }
    return report;
}

std::int32_t MekAbendInfo::WriteReportToDescriptor(int descriptor) {
    bool isWritten = true;
    const auto write = [&](std::string_view piece) { return mek::RawWrite(descriptor, piece); };
    ++Section::s_readers;
    for (Section* section = Section::s_first; section && isWritten; section = section->next) {
        if (section->lock.try_lock()) {
            isWritten = section->WriteTo(write);
            section->lock.unlock();
        } else {
            isWritten = write("==== (a section that is just being changed is left out) ====\n");
        }
    }
    --Section::s_readers;
    return isWritten ? kMekOk : kMekFailed;
}
