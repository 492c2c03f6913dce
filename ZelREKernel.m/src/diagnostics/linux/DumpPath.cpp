#include "diagnostics/linux/DumpPath.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <ctime>

namespace ZKL {
namespace {

std::atomic<std::int64_t> s_offsetSeconds{0};

struct Date {
    std::uint64_t year;
    std::uint64_t month;
    std::uint64_t day;
};

// Days since 1970-01-01 to a date. Source: Howard Hinnant, "chrono-compatible low-level date
// algorithms", civil_from_days, for days after 1970.
Date DateOf(std::uint64_t days) {
    days += 719468;  // from 0000-03-01
    const std::uint64_t era = days / 146097;
    const std::uint64_t dayOfEra = days % 146097;
    const std::uint64_t yearOfEra =
        (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const std::uint64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const std::uint64_t month = (5 * dayOfYear + 2) / 153;  // from March
    Date date = {};
    date.day = dayOfYear - (153 * month + 2) / 5 + 1;
    date.month = month < 10 ? month + 3 : month - 9;
    date.year = yearOfEra + era * 400 + (date.month <= 2 ? 1 : 0);
    return date;
}

void AppendTwo(DumpPath& path, std::uint64_t number) {
    path += number / 10;
    path += number % 10;
}

}  // namespace

void RememberLocalTime() {
    const std::time_t now = std::time(nullptr);
    std::tm local = {};
    tzset();  // localtime_r() does not look whether the host has changed its zone
    if (localtime_r(&now, &local) != nullptr) {
        s_offsetSeconds.store(local.tm_gmtoff, std::memory_order_relaxed);
    }
}

DumpPath MakeDumpPath() {
    const auto seconds = static_cast<std::uint64_t>(
        std::time(nullptr) + s_offsetSeconds.load(std::memory_order_relaxed));
    const Date date = DateOf(seconds / 86400);
    DumpPath path;
    if (const char* const directory = std::getenv("ZelCrashDumpDirectory");
        directory != nullptr && directory[0] != '\0') {
        path += directory;
        path += "/";
    }
    path += "MiniDump-";
    AppendTwo(path, date.day);
    path += "-";
    AppendTwo(path, date.month);
    path += date.year;
    path += "_";
    AppendTwo(path, seconds / 3600 % 24);
    path += "h";
    AppendTwo(path, seconds / 60 % 60);
    path += ".dmp";
    return path;
}

}  // namespace ZKL
