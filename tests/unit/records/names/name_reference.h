// The classification of names, the slow and obvious way: one std::wregex per expression, whole-text matches, tried one
// after the other. The measure that the name automaton and the steps are held against; the product never runs this.
// Answers are remembered per name, because the random comparisons ask for the same few names over and over. One thread.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "records/model/change_record.h"

namespace tavi::reference {

// The expressions that this file was written with, to hold the product's own against.
std::vector<std::u16string> TemporaryPatterns();
std::vector<std::u16string> SpecialPatterns();
std::u16string HydrationPattern();

std::u16string LastComponent(std::u16string_view path);  // the text after the last backslash
std::u16string LowerCase(std::u16string_view text);      // as far as it can matter: see the source
bool IsTemporaryFileName(std::u16string_view path);
bool IsHydrationName(std::u16string_view lastComponent);
bool IsSpecialTemporaryFile(std::u16string_view name);
bool IsRecordedTemporaryFile(const records::FileChangeInfo& record);
bool HasDocumentExtension(std::u16string_view path);
bool HasMatlabExtension(std::u16string_view path);

}  // namespace tavi::reference
