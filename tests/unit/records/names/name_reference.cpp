#include "unit/records/names/name_reference.h"

#include <map>
#include <regex>
#include <set>
#include <vector>

namespace tavi::reference {
namespace {

using records::FileChangeReason;

const wchar_t* const kTemporaryPatterns[] = {
    LR"(^\.my_document_s\.ini$)",
    LR"(^\$.*$)",
    LR"(^desktop\.ini$)",
    LR"(^.*\.(lnk|rdp)$)",
    LR"(^__(rar|rzi)_[0-9]+\.[0-9]+$)",
    LR"(^~(wrd|wrl)[0-9]{4}.tmp$)",
    LR"(^~\$.*\.(docx|pptx|xlsx)\.(srctemp|destemp)$)",
    LR"(^ppt[0-9,a-f]{3,4}\.tmp$)",
    LR"(^.*\.(pptx|xlsx)~rf[0-9,a-f]{6,8}\.tmp$)",
    LR"(^[0-9,a-f]{6,11}\.tmp$)",
    LR"(^[0-9,a-f]{8}$)",
    LR"(^~\$.*\.(docx|xlsx|pptx|doc|xls|ppt|pdf)$)",
    LR"(^.*~[0-9,a-f]{5,6}\.tmp$)",
    LR"(^mso[0-9,a-f]{4}\.tmp$)",
    LR"(^acrolock[\.,0-9]*\.tmp$)",
    LR"(^.*\.(mlx|mlapp)\.bak$)",
    LR"(^appDesignerTempData_[0-9]{12}$)",
    LR"(^ps[0-9,a-z]{2,4}\.tmp$)",
    LR"(^.*\.bak[0-9]+\.[0-9]+$)",
    LR"(^.*\.emmx\.[a-z]{6}$)",
    LR"(^.*\.laccdb$)",
    LR"(^[0-9,a-z]+\.[0-9,a-z]+~$)",
    LR"(^.*~[0-9,a-z]{9}\.tmp$)",
    LR"(^.*\.eddx\.[a-z]{6}$)",
    LR"(^.*\.[0-9]{4,5}\.[0-9]{4,5}\.(aep|aet)$)",
    LR"(^[0-9,a-z]{8,10}_[0-9,a-z]{6,7}_[0-9,a-z]{3}\.tmp$)",
    LR"(^[0-9,a-z]{8,10}_[0-9,a-z]{7}_meg\.tmp$)",
    LR"(^~ai\-[0-9,a-z,\-]{36}_\.tmp$)",
    LR"(^.*\.(ai|svg|svgz)\.bak[0-9,a-z]{8}$)",
    LR"(^ai[0-9]{6}\.tmp$)",
    LR"(^~\$.*\.(txt|xml|mht|mhtml|html|htm|wps|dot|wpt|rtf|docm|dotm|uof|doc)$)",
    LR"(^~.*\.tmp$)",
    LR"(^\{.*\}\.tmp$)",
    LR"(^.*\.zip\.tmp$)",
    LR"(^hz~[0-9,a-z]{4}\.tmp$)",
    LR"(^(sav|zw)[0-9,a-z]{3,5}\.tmp$)",
    LR"(^.*\.(dwl|dwl2)$)",
    LR"(^zw[0-9,a-z]{8}$)",
    LR"(^MFC[0-9,a-z]{4}\.tmp$)",
    LR"(^.*\.(docx|xlsx|pptx|mmap)\.[a-z]{6}$)",
    LR"(^~\$.*\.(flac|xmp|aac|wav|mp3)$)",
    LR"(^nzp[0-9,a-z]{4}\.tmp$)",
    LR"(^[0-9,a-z]{8}\-[0-9,a-z]{4}\-[0-9,a-z]{4}\-[0-9,a-z]{12}\.txt$)",
    LR"(^~Nuvexa_.+\.tmp$)",
    LR"(^.*\.crdownload$)",
    LR"(^.*\.(tmp|~tmp)$)",
    LR"(^atmp[0-9,a-z]+$)",
    LR"(^.*\.midownloading$)",
    LR"(^.*\.baiduyun\.uploading\.cfg$)",
    LR"(^\.~.*\.md$)",
    LR"(^.*\.db[1-9]\.bak$)",
    LR"(^.*\.db\.bak$)",
    LR"(^.*\.ldenc$)",
    LR"(^.*\.ldtmp$)",
    LR"(^.*\.dwg\.bak$)",
    LR"(^.*\.dwg\.lck$)",
};
const wchar_t* const kSpecialPatterns[] = {
    LR"(^.*\.db[1-9]\.bak$)", LR"(^.*\.db\.bak$)",  LR"(^.*\.ldenc$)",
    LR"(^.*\.ldtmp$)",        LR"(^.*\.dwg\.bak$)", LR"(^.*\.dwg\.lck$)",
};
const wchar_t* const kHydrationPattern = LR"(^~Nuvexa_.+\.tmp$)";

const std::set<std::u16string> kDocumentExtensions = {
    u"sct", u"psd", u"psb", u"aep", u"zip",  u"emmx", u"eddx", u"xlsx", u"xls", u"ai",  u"pdf",  u"wps", u"docx",
    u"doc", u"txt", u"xml", u"dot", u"wpt",  u"rtf",  u"docm", u"dotm", u"uof", u"dwg", u"gif",  u"jpg", u"jpeg",
    u"jpf", u"png", u"tif", u"pbm", u"aepx", u"aet",  u"pptx", u"mmap", u"ait", u"js",  u"html", u"7z"};
const std::set<std::u16string> kMatlabExtensions = {u"mlx", u"mlapp"};

// A dot is any code unit but the four line ends; the library's own dot lets U+2028 and U+2029 through.
std::wstring WithExplicitDots(const std::wstring& pattern) {
    std::wstring result;
    bool inClass = false;
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        if (pattern[i] == L'\\') {
            result += pattern[i++];
            result += pattern[i];
        } else if (pattern[i] == L'.' && !inClass) {
            result += L"[^\\n\\r\\u2028\\u2029]";
        } else {
            inClass = pattern[i] == L'[' || (inClass && pattern[i] != L']');
            result += pattern[i];
        }
    }
    return result;
}

std::u16string Units(std::wstring_view text) {
    return {text.begin(), text.end()};
}

template <std::size_t count>
std::vector<std::u16string> AllUnits(const wchar_t* const (&patterns)[count]) {
    std::vector<std::u16string> texts;
    for (const wchar_t* pattern : patterns) {
        texts.push_back(Units(pattern));
    }
    return texts;
}

template <std::size_t count>
std::vector<std::wregex> Compile(const wchar_t* const (&patterns)[count]) {
    std::vector<std::wregex> expressions;
    for (const wchar_t* pattern : patterns) {
        expressions.emplace_back(WithExplicitDots(pattern), std::regex::ECMAScript);
    }
    return expressions;
}

bool MatchesAny(const std::vector<std::wregex>& expressions, std::u16string_view name) {
    std::wstring wide;
    for (char16_t unit : name) {
        wide += static_cast<wchar_t>(unit);
    }
    for (const std::wregex& expression : expressions) {
        if (std::regex_match(wide, expression)) {
            return true;
        }
    }
    return false;
}

// Remembers an answer per name, and forgets all when they become many.
class KnownNames {
public:
    explicit KnownNames(const std::vector<std::wregex>& expressions) : expressions_(expressions) {}

    bool Match(const std::u16string& name) {
        if (known_.size() > kMostNames) {
            known_.clear();
        }
        const auto found = known_.find(name);
        return found != known_.end() ? found->second
                                     : known_.emplace(name, MatchesAny(expressions_, name)).first->second;
    }

private:
    static constexpr std::size_t kMostNames = 100'000;

    const std::vector<std::wregex>& expressions_;
    std::map<std::u16string, bool> known_;
};

bool HasExtensionIn(const std::set<std::u16string>& extensions, std::u16string_view path) {
    const std::size_t dot = path.rfind(u'.');
    if (dot == std::u16string_view::npos) {
        return false;
    }
    std::u16string extension(path.substr(dot + 1));
    for (char16_t& unit : extension) {
        if (unit >= u'A' && unit <= u'Z') {
            unit = static_cast<char16_t>(unit - u'A' + u'a');
        }
    }
    return extensions.count(extension) != 0;
}

bool IsCreateOrRenameHalf(FileChangeReason reason) {
    return reason == FileChangeReason::kCreate || reason == FileChangeReason::kRenameOldName ||
           reason == FileChangeReason::kRenameNewName;
}

}  // namespace

std::vector<std::u16string> TemporaryPatterns() {
    return AllUnits(kTemporaryPatterns);
}
std::vector<std::u16string> SpecialPatterns() {
    return AllUnits(kSpecialPatterns);
}
std::u16string HydrationPattern() {
    return Units(kHydrationPattern);
}

std::u16string LastComponent(std::u16string_view path) {
    const std::size_t backslash = path.rfind(u'\\');
    return std::u16string(backslash == std::u16string_view::npos ? path : path.substr(backslash + 1));
}

// Every lower-cased text is only ever compared with ASCII texts, or matched where any unit will do. So only the units
// whose lower case is an ASCII letter matter: A to Z and the Kelvin sign.
std::u16string LowerCase(std::u16string_view text) {
    std::u16string result(text);
    for (char16_t& unit : result) {
        if (unit >= u'A' && unit <= u'Z') {
            unit = static_cast<char16_t>(unit - u'A' + u'a');
        } else if (unit == u'\u212A') {
            unit = u'k';
        }
    }
    return result;
}

bool IsTemporaryFileName(std::u16string_view path) {
    static const std::vector<std::wregex> expressions = Compile(kTemporaryPatterns);
    static KnownNames known(expressions);
    return known.Match(LastComponent(path));
}

bool IsHydrationName(std::u16string_view lastComponent) {
    static const std::vector<std::wregex> expression = Compile({kHydrationPattern});
    return MatchesAny(expression, lastComponent);
}

bool IsSpecialTemporaryFile(std::u16string_view name) {
    static const std::vector<std::wregex> expressions = Compile(kSpecialPatterns);
    static KnownNames known(expressions);
    if (known.Match(std::u16string(name))) {
        return true;
    }
    if (name.size() < 4) {
        return false;
    }
    return name.ends_with(u".tmp") && (name.starts_with(u"~nuvexa_") || name.starts_with(u"~Nuvexa_"));
}

bool IsRecordedTemporaryFile(const records::FileChangeInfo& record) {
    if ((record.fileAttributes & 0x2) != 0 && IsCreateOrRenameHalf(record.reason)) {
        return true;
    }
    if ((record.fileAttributes & 0x10) != 0) {
        return false;
    }
    const std::u16string name = LowerCase(LastComponent(record.fileName));
    const std::size_t dot = name.rfind(u'.');
    if (dot == std::u16string::npos) {
        return false;
    }
    const std::u16string extension = name.substr(dot + 1);
    if (!IsCreateOrRenameHalf(record.reason)) {
        return false;
    }
    if (extension == u"lnk" || extension == u"rdp" || extension == u"crdownload" || extension == u"midownloading" ||
        extension == u"tmp") {
        return true;
    }
    if (name.ends_with(u".baiduyun.uploading.cfg") || name == u"desktop.ini") {
        return true;
    }
    return IsSpecialTemporaryFile(name);
}

bool HasDocumentExtension(std::u16string_view path) {
    return HasExtensionIn(kDocumentExtensions, path);
}
bool HasMatlabExtension(std::u16string_view path) {
    return HasExtensionIn(kMatlabExtensions, path);
}

}  // namespace tavi::reference
