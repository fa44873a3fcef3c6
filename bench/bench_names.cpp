// A name's classification against the cheapest pass over it that a hash map would make, and against the regular
// expressions that it replaces.
#include <algorithm>
#include <cstdint>
#include <regex>
#include <string>
#include <vector>

#include "ratio_table.h"
#include "records/names/temporary_file_rules.h"

namespace {

using tavi::records::TemporaryFileRules;

// What a listened folder holds on an ordinary day, with numbers so that no two names are the same.
std::vector<std::u16string> MakeNames(std::size_t count) {
    const std::u16string_view patterns[] = {u"report #.docx",
                                            u"~$report #.docx",
                                            u"Budget 2024 (final) #.xlsx",
                                            u"IMG_#.JPG",
                                            u"notes#.txt",
                                            u"main_window#.cpp",
                                            u"~WRL#.tmp",
                                            u"setup#.exe.crdownload",
                                            u"store#.db.bak",
                                            u"drawing-#.dwg",
                                            u"a1b2c#",
                                            u"holiday in the mountains, day #.mp4",
                                            u"index#.html",
                                            u"#.tmp",
                                            u"archive#.zip",
                                            u"Meeting minutes of the steering group #.pdf"};
    std::vector<std::u16string> names;
    for (std::size_t i = 0; i < count; ++i) {
        std::u16string name(patterns[i % std::size(patterns)]);
        const std::string number = std::to_string(i * 7919 % 10007);
        name.replace(name.find(u'#'), 1, std::u16string(number.begin(), number.end()));
        names.push_back(std::move(name));
    }
    return names;
}

std::uint64_t Fnv1a(std::u16string_view name) {
    std::uint64_t hash = 0xCBF29CE484222325;
    for (const char16_t unit : name) {
        hash = (hash ^ (unit & 0xFFU)) * 0x100000001B3;
        hash = (hash ^ (unit >> 8)) * 0x100000001B3;
    }
    return hash;
}

}  // namespace

int main(int argc, char** argv) {
    const TemporaryFileRules rules;
    const std::vector<std::u16string> names = MakeNames(2'000);
    std::vector<std::wstring> wideNames;
    for (const std::u16string& name : names) {
        wideNames.emplace_back(name.begin(), name.end());
    }
    std::vector<std::wregex> expressions;
    for (const std::u16string_view pattern : TemporaryFileRules::TemporaryPatterns()) {
        expressions.emplace_back(std::wstring(pattern.begin(), pattern.end()), std::regex::optimize);
    }

    const auto nothing = [] { return 0; };
    tavi::bench::RatioTable table;
    table.Measure("FNV-1a of a name", nothing, [&](int) {
        std::uint64_t sum = 0;
        for (const std::u16string& name : names) {
            sum += Fnv1a(name);
        }
        return sum;
    });
    table.Measure("classification of a name", nothing, [&](int) {
        std::size_t temporary = 0;
        for (const std::u16string& name : names) {
            temporary += rules.Classify(name).temporary ? 1U : 0U;
        }
        return temporary;
    });
    table.Measure("56 std::wregex on a name", nothing, [&](int) {
        return std::ranges::count_if(wideNames, [&](const std::wstring& name) {
            return std::ranges::any_of(expressions, [&](const std::wregex& e) { return std::regex_match(name, e); });
        });
    });
    table.AtMost("classification of a name", "FNV-1a of a name", 1.8);
    table.AtLeast("56 std::wregex on a name", "classification of a name", 250);
    return table.Run(argc, argv);
}
