// Splits a text into JSON documents: one per line, or one that spreads over several lines (a line that closes the
// outermost bracket ends it). Blank lines are skipped. Remembers the line where each began, for messages. Knows just
// enough JSON to tell brackets from text inside strings; whether a document is well-formed is for its parser to say.
#pragma once

#include <cstdint>
#include <istream>
#include <string>

namespace tavi::replay {

struct Document {
    std::string text;
    std::uint64_t line = 0;  // its first line, counted from 1
};

class DocumentReader {
public:
    explicit DocumentReader(std::istream& input) : input_(input) {}

    bool Next(Document& document);  // false at the end of the input
    std::uint64_t bytesRead() const { return bytesRead_; }

private:
    bool ReadLine(std::string& line);

    std::istream& input_;
    std::uint64_t line_ = 0;
    std::uint64_t bytesRead_ = 0;
};

}  // namespace tavi::replay
