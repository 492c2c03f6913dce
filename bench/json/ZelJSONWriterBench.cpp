// Writing a tree as one line of text.

#include "json/Contenders.h"

namespace {

using namespace bench;

[[maybe_unused]] const bool registered = [] {
    OverDocuments<RapidJSON>("write", WriteDocument<RapidJSON>);
    OverDocuments<Nlohmann>("write", WriteDocument<Nlohmann>);
    OverDocuments<SimdJSON>("write", WriteDocument<SimdJSON>);
    return true;
}();

}  // namespace
