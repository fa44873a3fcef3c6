// The name rules against std::wregex, expression by expression: a corpus of realistic names, and names made from every
// expression and then changed at random. TAVI_NAME_CASES sets how many, TAVI_SEED the seed.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <random>
#include <regex>
#include <string>
#include <vector>

#include "records/names/lower_case.h"
#include "records/names/name_expression.h"
#include "records/names/temporary_file_rules.h"
#include "support/sanitizers.h"

namespace tavi::records {
namespace {

// The full number takes the sanitizers minutes.
#ifdef TAVI_SANITIZED
constexpr std::size_t kDefaultCases = 20'000;
constexpr std::size_t kHitsPerExpression = 50;
#else
constexpr std::size_t kDefaultCases = 200'000;
constexpr std::size_t kHitsPerExpression = 500;
#endif

std::wstring Widen(std::u16string_view text) {
    return {text.begin(), text.end()};
}

std::wregex Compile(std::wstring_view text) {
    return std::wregex(text.data(), text.size(), std::regex::ECMAScript);
}

// The library's dot lets U+2028 and U+2029 through, which the expressions' dot does not.
std::wstring WithExplicitDots(std::wstring_view pattern) {
    std::wstring text;
    bool inClass = false;
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        if (pattern[i] == L'\\') {
            text += pattern[i++];
        } else if (pattern[i] == L'.' && !inClass) {
            text += L"[^\\n\\r\\u2028\\u2029]";
            continue;
        } else {
            inClass = pattern[i] == L'[' || (inClass && pattern[i] != L']');
        }
        text += pattern[i];
    }
    return text;
}

// One expression. Explicit dots make the library several times slower, so they serve only the names that need them.
class Expression {
public:
    explicit Expression(std::u16string_view pattern)
        : plain_(Compile(Widen(pattern))), explicit_(Compile(WithExplicitDots(Widen(pattern)))) {}

    bool Matches(const std::wstring& name) const {
        const bool separators = name.find_first_of(L"\u2028\u2029") != std::wstring::npos;
        return std::regex_match(name, separators ? explicit_ : plain_);
    }

private:
    std::wregex plain_;
    std::wregex explicit_;
};

class Oracle {
public:
    Oracle() {
        for (const auto pattern : TemporaryFileRules::TemporaryPatterns()) {
            temporary_.emplace_back(pattern);
        }
        for (const auto pattern : TemporaryFileRules::SpecialPatterns()) {
            special_.emplace_back(pattern);
        }
        lock_ = {Expression(uR"(^~\$.*\.(docx|xlsx|pptx|doc|xls|ppt|pdf|xml|rtf)$)"), Expression(uR"(^.*\.dwl$)")};
        hydration_ = {Expression(TemporaryFileRules::HydrationPattern())};
    }

    bool Matches(std::size_t temporaryPattern, std::u16string_view name) const {
        return temporary_[temporaryPattern].Matches(Widen(name));
    }

    // `known`: whether the name is already known to match an expression of the table, which spares trying the others.
    NameClass Classify(std::u16string_view name, bool known = false) const {
        const std::wstring wide = Widen(name);
        return {.temporary = known || Any(temporary_, wide),
                .lock = Any(lock_, wide),
                .specialLowered = Any(special_, Widen(ToLower(name))),
                .hydration = Any(hydration_, wide)};
    }

private:
    static bool Any(const std::vector<Expression>& expressions, const std::wstring& name) {
        return std::ranges::any_of(expressions, [&](const Expression& e) { return e.Matches(name); });
    }

    std::vector<Expression> temporary_;
    std::vector<Expression> special_;
    std::vector<Expression> lock_;
    std::vector<Expression> hydration_;
};

const char16_t* const kRealisticNames[] = {
    u"report.docx",
    u"~$report.docx",
    u"~$Report.DOCX",
    u"Budget 2024 (final).xlsx",
    u"photo.JPG",
    u"IMG_2041.HEIC",
    u"a1b2c3d4",
    u"A1B2C3D4",
    u"desktop.ini",
    u"Desktop.ini",
    u"Thumbs.db",
    u"~WRL0001.tmp",
    u"~wrl0001.tmp",
    u"~wrd12345.tmp",
    u"ppt1a2.tmp",
    u"PPT1A2.TMP",
    u"main.cpp",
    u".gitignore",
    u"README.md",
    u".~README.md",
    u"setup.exe.crdownload",
    u"Unconfirmed 12345.crdownload",
    u"film.mkv.midownloading",
    u"store.db",
    u"store.db.bak",
    u"store.db1.bak",
    u"STORE.DB.BAK",
    u"plan.dwg",
    u"plan.dwl",
    u"plan.dwl2",
    u"plan.dwg.lck",
    u"plan.bak",
    u"live.mlx",
    u"live.mlx.bak",
    u"App.mlapp.bak",
    u"deck.pptx~RF1a2b3c.TMP",
    u"deck.pptx~rf1a2b3c.tmp",
    u"notes.txt~",
    u"notes~",
    u"ab.cd~",
    u"archive.zip.tmp",
    u"archive.zip",
    u"$RECYCLE.BIN",
    u"$x",
    u"~ai-0f0f0f0f-0000-1111-2222-3333333333zz_.tmp",
    u"logo.ai.bak01234567",
    u"logo.svg",
    u"{5E6F}.tmp",
    u"hz~12ab.tmp",
    u"sav123.tmp",
    u"zw123.tmp",
    u"zw12345678",
    u"MFC12ab.tmp",
    u"mfc12ab.tmp",
    u"song.mp3",
    u"~$song.mp3",
    u"~Nuvexa_photo.jpg.tmp",
    u"~Nuvexa_.tmp",
    u"~nuvexa_photo.jpg.tmp",
    u"atmp1",
    u"atmp",
    u"movie.baiduyun.uploading.cfg",
    u"secret.ldenc",
    u"secret.LDTMP",
    u"clip.12345.1234.aep",
    u"base.laccdb",
    u"mind.emmx.abcdef",
    u"flow.eddx.zzzzzz",
    u"Größe.tmp",
    u"文档.docx",
    u"文档.tmp",
    u"a\nb.tmp",
    u"a\u2028b.tmp",
    u"\xD800.tmp",
    u"x.\xDC00",
    u"",
    u".",
    u"..",
    u"~",
    u"$",
    u"~$",
    u".tmp",
    u"tmp",
    u"a.tmp.",
    u"a.TMP",
    u"a.dwg.LC\u212A",
    u"abcdefgh-1234-abcd-abcdefgh1234.txt",
    u"__rar_1.2",
    u"appDesignerTempData_012345678901",
    u"acrolock12.tmp",
    u"mso0a1b.tmp",
    u"0a1b2c.tmp",
    u"x.docx.qwerty",
};

class NameMaker {
public:
    explicit NameMaker(std::uint64_t seed) : random_(seed) {}

    std::size_t Below(std::size_t bound) { return std::uniform_int_distribution<std::size_t>(0, bound - 1)(random_); }

    // A text that the expression matches.
    void Append(const ExpressionNode& node, std::u16string& text) {
        switch (node.kind) {
            case ExpressionNode::Kind::kUnits:
                text += UnitOf(node.units);
                break;
            case ExpressionNode::Kind::kSequence:
                for (const ExpressionNode& child : node.children) {
                    Append(child, text);
                }
                break;
            case ExpressionNode::Kind::kAlternatives:
                Append(node.children[Below(node.children.size())], text);
                break;
            case ExpressionNode::Kind::kRepeat: {
                const unsigned most = std::min(node.atMost, node.atLeast + 6);
                for (std::size_t left = node.atLeast + Below(most - node.atLeast + 1); left > 0; --left) {
                    Append(node.children.front(), text);
                }
                break;
            }
        }
    }

    void Mutate(std::u16string& text) {
        const std::size_t at = Below(text.size() + 1);
        switch (Below(6)) {
            case 0:
                text.insert(text.begin() + static_cast<std::ptrdiff_t>(at), AnyUnit());
                break;
            case 1:
                text = text.substr(0, at) + text.substr(std::min(text.size(), at + 1));
                break;
            case 2:
                text.replace(at, 1, 1, AnyUnit());
                break;
            case 3:
                text = at < text.size() / 2 ? text.substr(at) : text.substr(0, at);
                break;
            case 4:
                text += kRealisticNames[Below(std::size(kRealisticNames))];
                break;
            default:
                std::ranges::transform(text, text.begin(), [](char16_t unit) {
                    return unit >= u'a' && unit <= u'z' ? static_cast<char16_t>(unit - u'a' + u'A') : ToLowerUnit(unit);
                });
        }
    }

private:
    char16_t AnyUnit() {
        static constexpr std::u16string_view kTelling =
            u".~$_-,0149abcdefgtmpxzAKTZ{}\n\r\u2028\u2029\u212A\u0130\xD800\xDC00\xFFFF /";
        return kTelling[Below(kTelling.size())];
    }

    char16_t UnitOf(const UnitSet& set) {
        for (int attempt = 0; attempt < 8; ++attempt) {
            if (const char16_t unit = AnyUnit(); Contains(set, unit)) {
                return unit;
            }
        }
        const UnitRange& range = set[Below(set.size())];
        return static_cast<char16_t>(range.first + Below(range.last - range.first + 1U));
    }

    std::mt19937_64 random_;
};

std::uint64_t NumberFromEnvironment(const char* name, std::uint64_t otherwise) {
    const char* const text = std::getenv(name);
    return text == nullptr ? otherwise : std::strtoull(text, nullptr, 10);
}

TEST(NameRulesOracle, RealisticNamesHaveTheClassesOfTheRegularExpressions) {
    const Oracle oracle;
    const TemporaryFileRules rules;
    for (const std::u16string_view name : kRealisticNames) {
        EXPECT_EQ(rules.Classify(name), oracle.Classify(name)) << testing::PrintToString(std::u16string(name));
    }
}

TEST(NameRulesOracle, NamesMadeFromEveryExpressionHaveTheClassesOfTheRegularExpressions) {
    const std::uint64_t seed = NumberFromEnvironment("TAVI_SEED", 20240607);
    const std::size_t cases = NumberFromEnvironment("TAVI_NAME_CASES", kDefaultCases);
    std::cout << "seed " << seed << ", " << cases << " names\n";
    const Oracle oracle;
    const TemporaryFileRules rules;
    const auto patterns = TemporaryFileRules::TemporaryPatterns();
    std::vector<ExpressionNode> trees;
    for (const auto pattern : patterns) {
        trees.push_back(ParseNameExpression(pattern));
    }
    NameMaker maker(seed);
    std::vector<std::size_t> hits(patterns.size());
    for (std::size_t i = 0; i < cases; ++i) {
        const std::size_t pattern = i % patterns.size();
        std::u16string name;
        maker.Append(trees[pattern], name);
        for (std::size_t mutations = maker.Below(4); mutations > 0; --mutations) {
            maker.Mutate(name);
        }
        const bool hit = oracle.Matches(pattern, name);
        hits[pattern] += hit ? 1U : 0U;
        ASSERT_EQ(rules.Classify(name), oracle.Classify(name, hit))
            << "seed " << seed << " case " << i << " " << testing::PrintToString(name);
    }
    if (cases >= kDefaultCases) {
        for (std::size_t pattern = 0; pattern < patterns.size(); ++pattern) {
            EXPECT_GE(hits[pattern], kHitsPerExpression) << "entry " << pattern + 1;
        }
    }
}

}  // namespace
}  // namespace tavi::records
