#include "replay/document_reader.h"

#include <string_view>

namespace tavi::replay {
namespace {

class BracketDepth {
public:
    void Read(std::string_view text) {
        for (const char character : text) {
            if (inString_) {
                ReadInString(character);
            } else if (character == '"') {
                inString_ = true;
            } else if (character == '{' || character == '[') {
                ++depth_;
            } else if (character == '}' || character == ']') {
                --depth_;
            }
        }
        // No JSON string goes on past its line; taking one for longer would swallow the rest of the file.
        inString_ = false;
        escaped_ = false;
    }
    bool IsOpen() const { return depth_ > 0; }

private:
    void ReadInString(char character) {
        if (escaped_) {
            escaped_ = false;
        } else if (character == '\\') {
            escaped_ = true;
        } else if (character == '"') {
            inString_ = false;
        }
    }

    long long depth_ = 0;
    bool inString_ = false;
    bool escaped_ = false;
};

}  // namespace

bool DocumentReader::ReadLine(std::string& line) {
    if (!std::getline(input_, line)) {
        return false;
    }
    bytesRead_ += line.size() + 1;
    if (++line_ == 1 && line.starts_with("\xEF\xBB\xBF")) {
        line.erase(0, 3);
    }
    return true;
}

bool DocumentReader::Next(Document& document) {
    std::string line;
    do {
        if (!ReadLine(line)) {
            return false;
        }
    } while (line.find_first_not_of(" \t\r") == std::string::npos);

    document.line = line_;
    document.text = line;
    BracketDepth depth;
    depth.Read(line);
    while (depth.IsOpen() && ReadLine(line)) {
        document.text += '\n';
        document.text += line;
        depth.Read(line);
    }
    return true;
}

}  // namespace tavi::replay
