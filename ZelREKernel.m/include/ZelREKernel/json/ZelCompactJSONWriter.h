#pragma once

// Writes a document on one line, without a blank outside of strings: for files and sockets that
// only programs read. Members come in order of their names; what a sparse array lacks is "null".
//
// One thread at a time.

#include <string>

#include "ZelREKernel/json/ZelJSONWriter.h"

class ZELREKERNEL_EXPORT ZelCompactJSONWriter : public ZelJSONWriter {
public:
    ~ZelCompactJSONWriter() override;

    std::string Write(const ZelJSONValue& root) override;

private:
    std::string document_;  // while it is being written
};
