// The builder of JSON texts: entries in the order in which they are pushed.
#include <cstdio>
#include <string>

#include <ZelREKernel/ZelREKernel.h>

int main() {
    const auto summary = ZKL::vJSONObject::Create();
    const auto size = ZKL::vJSONObject::Create();
    if (!summary || !size) {
        return 1;
    }
    size->PushEntry("width", 640).PushEntry("height", 480);
    ZKL::vJSONArray times;
    times.PushValue(16.5F).PushValue(17.25F);
    summary->PushEntry("model", "engine").PushEntry("size", size).PushEntry("milliseconds", times);

    std::string text;
    summary->Serialize(text);
    std::puts(text.c_str());
    return 0;
}
