#pragma once

// Bytes as text (RFC 4648, section 4).

#include <string>
#include <string_view>

namespace frame {

// Decodes `text`, with or without its padding, into `bytes`. False when it is not base64.
bool DecodeBase64(std::string_view text, std::string& bytes);

}  // namespace frame
