#include "base/ForkedChild.h"

namespace ZKL {

// Every process begins anew here.
void CallInForkedChildren(void (*)()) noexcept {}

}  // namespace ZKL
