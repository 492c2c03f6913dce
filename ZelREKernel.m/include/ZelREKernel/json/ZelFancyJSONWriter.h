#pragma once

// Writes a document for people: indented by three blanks a level, members on lines of their own,
// arrays on one line if they are short and hold no other array or object with contents.
//
// One thread at a time.

#include <string>
#include <vector>

#include "ZelREKernel/json/ZelJSONWriter.h"

class ZELREKERNEL_EXPORT ZelFancyJSONWriter : public ZelJSONWriter {
public:
    ~ZelFancyJSONWriter() override;

    std::string Write(const ZelJSONValue& root) override;

private:
    struct Level;  // an array or object that is open
    using Levels = std::vector<Level>;

    // Writes a scalar or a container that stays on one line; opens any other on `levels`.
    void WriteValue(const ZelJSONValue& value, Levels& levels);
    void WriteArrayValue(const ZelJSONValue& array, Levels& levels);
    // Each writes what comes next on the innermost level, or closes it.
    void ContinueArray(Levels& levels);
    void ContinueObject(Levels& levels);
    // Leaves the elements of a short array rendered in the child values.
    bool IsMultineArray(const ZelJSONValue& array);
    void PushValue(const std::string& text);
    void WriteIndent();
    void WriteWithIndent(const std::string& text);
    void Indent();
    void Unindent();
    // Values carry no comments.
    void WriteCommentBeforeValue(const ZelJSONValue& value);
    void WriteCommentAfterValueOnSameLine(const ZelJSONValue& value);
    bool HasCommentForValue(const ZelJSONValue& value);
    // "\r\n" and a lone "\r" become "\n".
    static std::string NormalizeEOL(const std::string& text);

    std::vector<std::string> childValues_;
    std::string document_;
    std::string indentString_;
    int rightMargin_ = 74;  // an array whose line would reach it is split
    int indentSize_ = 3;
    bool addChildValues_ = false;  // scalars go to the child values instead of the document
};
