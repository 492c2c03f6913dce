#pragma once

#include <string>

// Text as the host family keeps it: UTF-16 in the machine's byte order.
using MekUnicodeString = std::u16string;
