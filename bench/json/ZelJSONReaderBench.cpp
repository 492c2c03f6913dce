// Parsing documents into a tree that is then released.

#include "json/Contenders.h"

namespace {

using namespace bench;

[[maybe_unused]] const bool registered = [] {
    OverDocuments<Ours>("parse", ParseDocument<Ours>);
    OverDocuments<RapidJSON>("parse", ParseDocument<RapidJSON>);
    OverDocuments<Nlohmann>("parse", ParseDocument<Nlohmann>);
    OverDocuments<SimdJSON>("parse", ParseDocument<SimdJSON>);
    return true;
}();

}  // namespace
