#pragma once

// Tells people where in a document ZelJSONReader found an error.
//
// Reentrant; the reader must not parse meanwhile. The index is that of an error in the reader's
// list, which nothing checks.

#include <cstddef>
#include <string>

#include "ZelREKernel/json/ZelJSONReader.h"

// Where an error is, for people.
struct ZelJSONErrorPlace {
    std::size_t line = 1;    // from 1; lines end with a line feed, a carriage return, or both
    std::size_t column = 1;  // from 1, in characters (UTF-8 sequences)
    // The line around the error, at most 72 characters of it, fit for a terminal: whatever does not
    // print is a question mark.
    std::string excerpt;
    std::size_t caret = 0;  // the error's place in the excerpt, in characters from 0
};

// Where error `index` of the reader's list begins. Reads the document up to there.
ZELREKERNEL_EXPORT ZelJSONErrorPlace ZelJSONLocateError(const ZelJSONReader& reader,
                                                        std::size_t index);

// "<line>:<column>: <message>", the excerpt, and a caret below the place; three lines, the last
// without its end.
ZELREKERNEL_EXPORT std::string ZelJSONErrorText(const ZelJSONReader& reader, std::size_t index);
