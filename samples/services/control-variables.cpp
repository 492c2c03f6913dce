// Control variables: switches that their owners read as plain variables and that anybody sets by
// name.
#include <cstdio>

#include <ZelREKernel/ZelREKernel.h>

namespace {
constexpr ZKL::vControlVar::ECategory kDrawing{1};

// They are never taken off the list, so they live as long as the process.
bool s_wireframe = false;
bool s_shadows = true;
unsigned int s_samples = 4;

void Show() {
    std::printf("wireframe %d, shadows %d, samples %u\n", s_wireframe, s_shadows, s_samples);
}
}  // namespace

int main() {
    using Variable = ZKL::vControlVar;
    Variable::Register("wireframe", &s_wireframe, Variable::eBool, kDrawing);
    Variable::Register("shadows", &s_shadows, Variable::eBool, kDrawing);
    Variable::Register("samples", &s_samples, Variable::eUnsignedInt, kDrawing);
    Show();

    Variable::SetValue("wireframe", true);
    Variable::SetValue("samples", 8U);
    Variable::SetValue("samples", 0.5F);  // another type than the variable's: nothing happens
    Show();

    Variable::SetCategoryValue(kDrawing, false);  // all switches of the category; no numbers
    Show();
    return 0;
}
