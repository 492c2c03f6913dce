#pragma once

// Texts for people.

#include <cstdint>
#include <string>
#include <string_view>

#include "common/Printable.h"

namespace trace {

using tools::Printable;
// The same between double quotes, cut where it is very long.
std::string Quoted(std::string_view text);
// Nanoseconds as microseconds, with a fraction only where there is one.
std::string MicrosecondText(std::int64_t nanoseconds);
// Nanoseconds as milliseconds with three decimals, that is whole microseconds.
std::string MillisecondText(std::int64_t nanoseconds);

}  // namespace trace
