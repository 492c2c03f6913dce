// Shared objects: strong pointers keep an object, weak ones know whether it is still there.
#include <cstdio>

#include <ZelREKernel/ZelREKernel.h>

namespace {

class Texture : public ZKL::vSmartPtrObject {
public:
    ~Texture() override { std::puts("texture freed"); }
    int Width() const { return 256; }
};

void Show(const ZKL::vWeakPtr<Texture>& cached) {
    // What Lock gives keeps the object while it is used, whatever other threads drop.
    if (const ZKL::vSmartPtr<Texture> texture = cached.Lock()) {
        std::printf("texture of width %d\n", texture->Width());
    } else {
        std::puts("no texture");
    }
}

}  // namespace

int main() {
    ZKL::vSmartPtr<Texture> owner(new Texture);
    const ZKL::vWeakPtr<Texture> cached(owner);
    Show(cached);
    owner.Reset();
    Show(cached);
    return 0;
}
