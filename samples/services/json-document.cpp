// JSON documents: read a text, look at it, change it, write it; and what a broken text is answered
// by.
#include <cstdio>

#include <ZelREKernel/ZelREKernel.h>

int main() {
    ZelJSONReader reader;
    ZelJSONValue scene;
    if (!reader.Parse(R"({"name": "engine", "cylinders": [1, 2], "lit": true})", scene)) {
        std::puts(ZelJSONErrorText(reader, 0).c_str());
        return 1;
    }
    std::printf("%s, %d cylinders\n", scene["name"].AsString().c_str(),
                static_cast<int>(scene["cylinders"].Size()));

    scene["cylinders"][2U] = 3;
    scene["lit"] = false;
    ZelCompactJSONWriter writer;
    std::printf("%s", writer.Write(scene).c_str());  // ends with a line feed

    ZelJSONValue broken;
    if (!reader.Parse("{\"name\": \"engine\",\n \"cylinders\": oops}", broken)) {
        std::puts(ZelJSONErrorText(reader, 0).c_str());
    }
    return 0;
}
