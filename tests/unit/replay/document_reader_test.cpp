#include "replay/document_reader.h"

#include <gtest/gtest.h>

#include <sstream>
#include <utility>
#include <vector>

namespace tavi::replay {
namespace {

using Documents = std::vector<std::pair<std::uint64_t, std::string>>;

Documents ReadAll(const std::string& text) {
    std::istringstream input(text);
    DocumentReader reader(input);
    Documents documents;
    Document document;
    while (reader.Next(document)) {
        documents.emplace_back(document.line, document.text);
    }
    return documents;
}

TEST(DocumentReader, EmptyAndBlankInputHasNoDocument) {
    EXPECT_TRUE(ReadAll("").empty());
    EXPECT_TRUE(ReadAll("\n \t\r\n\n").empty());
}

TEST(DocumentReader, EachLineIsADocumentWithItsNumber) {
    EXPECT_EQ(ReadAll("{\"a\":1}\n\n[2]"), (Documents{{1, "{\"a\":1}"}, {3, "[2]"}}));
}

TEST(DocumentReader, ADocumentMaySpreadOverLines) {
    EXPECT_EQ(ReadAll("\n{\n \"a\": [\n1]}\n{}\n"), (Documents{{2, "{\n \"a\": [\n1]}"}, {5, "{}"}}));
}

TEST(DocumentReader, BracketsInsideStringsDoNotCount) {
    EXPECT_EQ(ReadAll("{\"{[\\\"{\":1}\n{}"), (Documents{{1, "{\"{[\\\"{\":1}"}, {2, "{}"}}));
    EXPECT_EQ(ReadAll("{\"\\\\\":1}\n{}").size(), 2u) << "the string ends after an escaped backslash";
}

TEST(DocumentReader, AStringThatIsNotClosedEndsWithItsLine) {
    EXPECT_EQ(ReadAll("{\"a}\n}\n{}"), (Documents{{1, "{\"a}\n}"}, {3, "{}"}}));
}

TEST(DocumentReader, ADocumentThatNeverEndsIsGivenAsFarAsItGoes) {
    EXPECT_EQ(ReadAll("{\n1"), (Documents{{1, "{\n1"}}));
}

TEST(DocumentReader, ABracketTooManyDoesNotSpoilTheNextDocument) {
    EXPECT_EQ(ReadAll("}}\n{}"), (Documents{{1, "}}"}, {2, "{}"}}));
}

TEST(DocumentReader, AByteOrderMarkIsSkipped) {
    EXPECT_EQ(ReadAll("\xEF\xBB\xBF{}"), (Documents{{1, "{}"}}));
}

}  // namespace
}  // namespace tavi::replay
