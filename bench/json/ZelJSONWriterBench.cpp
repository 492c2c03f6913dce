// Writing a tree as one line of text, and as an indented layout (which differs in its blanks, so
// compare its time and not its bytes).

#include "json/Contenders.h"

namespace {

using namespace bench;

[[maybe_unused]] const bool registered = [] {
    OverDocuments<Ours>("write", WriteDocument<Ours>);
    OverDocuments<RapidJSON>("write", WriteDocument<RapidJSON>);
    OverDocuments<Nlohmann>("write", WriteDocument<Nlohmann>);
    OverDocuments<SimdJSON>("write", WriteDocument<SimdJSON>);
    OverDocuments<OursFancy>("write_indented", WriteDocument<OursFancy>);
    OverDocuments<RapidJSONPretty>("write_indented", WriteDocument<RapidJSONPretty>);
    return true;
}();

}  // namespace
