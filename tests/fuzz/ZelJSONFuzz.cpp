// Reads a text, writes what came of it by both writers, and reads that again. Whatever the text,
// the second generation is sound and stays as it is; where the text is JSON, another library agrees
// on every value, but for what docs/json.md lists.

#include <cstdint>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string>

#include "ZelREKernel/json/ZelCompactJSONWriter.h"
#include "ZelREKernel/json/ZelFancyJSONWriter.h"
#include "ZelREKernel/json/ZelJSONRange.h"
#include "ZelREKernel/json/ZelJSONReader.h"

namespace {

void Demand(bool holds) {
    if (!holds) {
        std::abort();
    }
}

std::string Compact(const ZelJSONValue& value) {
    return ZelCompactJSONWriter().Write(value);
}

std::string Fancy(const ZelJSONValue& value) {
    return ZelFancyJSONWriter().Write(value);
}

ZelJSONValue Read(const std::string& text) {
    ZelJSONReader reader;
    ZelJSONValue value;
    Demand(reader.Parse(text, value) && reader.GetErrorList().empty());
    return value;
}

bool AgreesOnNumber(const ZelJSONValue& ours, const nlohmann::json& theirs) {
    if (theirs.is_number_float()) {
        return ours.IsDouble() && ours.AsDouble() == theirs.get<double>();
    }
    if (theirs.is_number_unsigned()) {
        return !ours.IsDouble() && ours.AsULongLong() == theirs.get<std::uint64_t>();
    }
    // Negative ones are cut to 32 bits.
    return ours.IsInt() && ours.AsInt() == static_cast<int>(theirs.get<std::int64_t>());
}

bool Agrees(const ZelJSONValue& ours, const nlohmann::json& theirs) {
    if (theirs.is_array()) {
        bool agree = ours.IsArray() && ours.Size() == theirs.size();
        for (unsigned i = 0; agree && i < theirs.size(); ++i) {
            agree = Agrees(ours[i], theirs[i]);
        }
        return agree;
    }
    if (theirs.is_object()) {
        bool agree = ours.IsObject() && ours.Size() == theirs.size();
        auto at = theirs.begin();
        for (const auto& [name, value] : ZelJSONMembers(ours)) {
            agree = agree && name == at.key() && Agrees(value, at.value());
            ++at;
        }
        return agree;
    }
    if (theirs.is_string()) {
        // A string ends at its first zero.
        const std::string text = theirs.get<std::string>();
        return ours.IsString() && ours.AsString() == text.substr(0, text.find('\0'));
    }
    if (theirs.is_boolean()) {
        return ours.IsBool() && ours.AsBool() == theirs.get<bool>();
    }
    return theirs.is_null() ? ours.IsNULL() : AgreesOnNumber(ours, theirs);
}

// What is JSON is read, unless a number is too small for a double.
void Judge(const std::string& text, const ZelJSONReader& reader, bool done,
           const ZelJSONValue& value) {
    const bool hasMark = text.starts_with("\xEF\xBB\xBF");  // the judge skips it
    const nlohmann::json judged = nlohmann::json::parse(text, nullptr, false);
    if (judged.is_discarded() || hasMark) {
        return;
    }
    if (done) {
        Demand(Agrees(value, judged));
        Demand(nlohmann::json::accept(Compact(value)) && nlohmann::json::accept(Fancy(value)));
        return;
    }
    for (const ZelJSONReader::ErrorInfo& error : reader.GetErrorList()) {
        const std::string token(error.token.start, error.token.end);
        Demand(error.message == "'" + token + "' is not a number.");
        Demand(std::abs(std::strtod(token.c_str(), nullptr)) < 2.3e-308);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    ZelJSONReader reader;
    ZelJSONValue value;
    const bool done = reader.Parse(text, value);
    Demand(done == reader.GetErrorList().empty());
    Judge(text, reader, done, value);

    // The first generation may change in writing: control characters and zeros go, a double may
    // look like an integer.
    const ZelJSONValue second = Read(Compact(value));
    const std::string compact = Compact(second);
    const std::string fancy = Fancy(second);
    Demand(Compact(Read(Fancy(value))) == compact);
    Demand(Compact(Read(compact)) == compact && Fancy(Read(fancy)) == fancy);
    Demand(Compact(ZelJSONValue(second)) == compact);
    return 0;
}
