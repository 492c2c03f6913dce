#pragma once

// Sections of the crash report: titled texts that code adds to while it runs and that are written
// out when the process dies.
//
// Append, Clear and the writers may be called from any thread. WriteReport takes locks and is for a
// process that is well; WriteReportToDescriptor takes none, allocates nothing and is safe in a
// signal handler, where a section that another thread is just changing is skipped with a line that
// says so.

#include <cstdint>
#include <string>
#include <string_view>

#include "MekHost/MekHostExport.h"

class MEKHOST_EXPORT MekAbendInfo {
public:
    // `sizeClass`: how much of its text a section keeps, in KiB; when it grows past that, the
    // oldest half is dropped at a line boundary. 0 keeps everything. (The log's own section
    // uses 16.)
    explicit MekAbendInfo(unsigned sizeClass);
    // Takes the section out of the report.
    ~MekAbendInfo();
    MekAbendInfo(const MekAbendInfo&) = delete;
    MekAbendInfo& operator=(const MekAbendInfo&) = delete;

    // Puts the section into the report under `title`. `inReport` 0 keeps it out for now;
    // `keepOrder` 0 puts it before the sections already there, 1 behind them. Calling it again
    // changes all of this. Returns kMekOk or kMekInvalidParameter (null title).
    std::int32_t SetInformationSpecs(unsigned sizeClass, const char* title, int inReport,
                                     int keepOrder);

    // Adds text; a null pointer is ignored.
    void Append(const char* text);
    void Append(std::string_view text);
    // Empties the section, which stays in the report.
    void Clear();
    // A copy of the text kept so far.
    std::string GetText() const;

    // The whole report: for each section a line "==== <title> ====", the text, and a line feed
    // where the text does not end with one.
    static std::string WriteReport();
    // Writes the same to an open file descriptor. Returns kMekOk or kMekFailed.
    static std::int32_t WriteReportToDescriptor(int descriptor);

private:
    struct Section;
    Section* section_;
};
