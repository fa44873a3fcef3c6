#include "records/names/temporary_file_rules.h"

#include <algorithm>
#include <array>
#include <utility>

#include "platform/constants.h"
#include "records/names/lower_case.h"

namespace tavi::records {
namespace {

// The names of temporary files. Office programs, archivers, CAD and MATLAB, browsers and sync clients each have theirs;
// a line is one family. The lines are meant as they are written: the dot of the sixth is not escaped and stands for any
// unit, the commas inside classes stand for a comma, and case counts ("~WRL0001.tmp" is not the sixth but the 32nd).
constexpr std::u16string_view kTemporaryPatterns[] = {
    uR"(^\.my_document_s\.ini$)",
    uR"(^\$.*$)",
    uR"(^desktop\.ini$)",
    uR"(^.*\.(lnk|rdp)$)",
    uR"(^__(rar|rzi)_[0-9]+\.[0-9]+$)",
    uR"(^~(wrd|wrl)[0-9]{4}.tmp$)",
    uR"(^~\$.*\.(docx|pptx|xlsx)\.(srctemp|destemp)$)",
    uR"(^ppt[0-9,a-f]{3,4}\.tmp$)",
    uR"(^.*\.(pptx|xlsx)~rf[0-9,a-f]{6,8}\.tmp$)",
    uR"(^[0-9,a-f]{6,11}\.tmp$)",
    uR"(^[0-9,a-f]{8}$)",
    uR"(^~\$.*\.(docx|xlsx|pptx|doc|xls|ppt|pdf)$)",
    uR"(^.*~[0-9,a-f]{5,6}\.tmp$)",
    uR"(^mso[0-9,a-f]{4}\.tmp$)",
    uR"(^acrolock[\.,0-9]*\.tmp$)",
    uR"(^.*\.(mlx|mlapp)\.bak$)",
    uR"(^appDesignerTempData_[0-9]{12}$)",
    uR"(^ps[0-9,a-z]{2,4}\.tmp$)",
    uR"(^.*\.bak[0-9]+\.[0-9]+$)",
    uR"(^.*\.emmx\.[a-z]{6}$)",
    uR"(^.*\.laccdb$)",
    uR"(^[0-9,a-z]+\.[0-9,a-z]+~$)",
    uR"(^.*~[0-9,a-z]{9}\.tmp$)",
    uR"(^.*\.eddx\.[a-z]{6}$)",
    uR"(^.*\.[0-9]{4,5}\.[0-9]{4,5}\.(aep|aet)$)",
    uR"(^[0-9,a-z]{8,10}_[0-9,a-z]{6,7}_[0-9,a-z]{3}\.tmp$)",
    uR"(^[0-9,a-z]{8,10}_[0-9,a-z]{7}_meg\.tmp$)",
    uR"(^~ai\-[0-9,a-z,\-]{36}_\.tmp$)",
    uR"(^.*\.(ai|svg|svgz)\.bak[0-9,a-z]{8}$)",
    uR"(^ai[0-9]{6}\.tmp$)",
    uR"(^~\$.*\.(txt|xml|mht|mhtml|html|htm|wps|dot|wpt|rtf|docm|dotm|uof|doc)$)",
    uR"(^~.*\.tmp$)",
    uR"(^\{.*\}\.tmp$)",
    uR"(^.*\.zip\.tmp$)",
    uR"(^hz~[0-9,a-z]{4}\.tmp$)",
    uR"(^(sav|zw)[0-9,a-z]{3,5}\.tmp$)",
    uR"(^.*\.(dwl|dwl2)$)",
    uR"(^zw[0-9,a-z]{8}$)",
    uR"(^MFC[0-9,a-z]{4}\.tmp$)",
    uR"(^.*\.(docx|xlsx|pptx|mmap)\.[a-z]{6}$)",
    uR"(^~\$.*\.(flac|xmp|aac|wav|mp3)$)",
    uR"(^nzp[0-9,a-z]{4}\.tmp$)",
    uR"(^[0-9,a-z]{8}\-[0-9,a-z]{4}\-[0-9,a-z]{4}\-[0-9,a-z]{12}\.txt$)",
    uR"(^~Nuvexa_.+\.tmp$)",
    uR"(^.*\.crdownload$)",
    uR"(^.*\.(tmp|~tmp)$)",
    uR"(^atmp[0-9,a-z]+$)",
    uR"(^.*\.midownloading$)",
    uR"(^.*\.baiduyun\.uploading\.cfg$)",
    uR"(^\.~.*\.md$)",
    uR"(^.*\.db[1-9]\.bak$)",
    uR"(^.*\.db\.bak$)",
    uR"(^.*\.ldenc$)",
    uR"(^.*\.ldtmp$)",
    uR"(^.*\.dwg\.bak$)",
    uR"(^.*\.dwg\.lck$)",
};
static_assert(std::size(kTemporaryPatterns) == 56);

// Database backups and CAD lock files, which are recorded for the client. The same six close the table above.
constexpr std::u16string_view kSpecialPatterns[] = {
    uR"(^.*\.db[1-9]\.bak$)", uR"(^.*\.db\.bak$)",  uR"(^.*\.ldenc$)",
    uR"(^.*\.ldtmp$)",        uR"(^.*\.dwg\.bak$)", uR"(^.*\.dwg\.lck$)",
};

constexpr std::u16string_view kOfficeLockPattern = uR"(^~\$.*\.(docx|xlsx|pptx|doc|xls|ppt|pdf|xml|rtf)$)";
constexpr std::u16string_view kDwgLockPattern = uR"(^.*\.dwl$)";

constexpr std::u16string_view kHydrationPattern = uR"(^~Nuvexa_.+\.tmp$)";

// The bits of the automaton's answer.
enum Group : std::uint8_t { kTemporary, kLock, kSpecialLowered, kHydration };

using LockFileMap = std::unordered_map<std::u16string_view, std::u16string_view>;

NameAutomaton MakeAutomaton(const LockFileMap& lockFileMap) {
    using Case = NameAutomaton::Case;
    std::vector<NameAutomaton::Expression> expressions;
    for (const std::u16string_view pattern : kTemporaryPatterns) {
        expressions.push_back({pattern, kTemporary, Case::kExact});
    }
    for (const std::u16string_view pattern : kSpecialPatterns) {
        expressions.push_back({pattern, kSpecialLowered, Case::kLowered});
    }
    for (const auto& [family, pattern] : lockFileMap) {
        expressions.push_back({pattern, kLock, Case::kExact});
    }
    expressions.push_back({kHydrationPattern, kHydration, Case::kExact});
    return NameAutomaton(expressions);
}

// One for the process: the expressions never change, and every new task builds rules.
const NameAutomaton& SharedAutomaton(const LockFileMap& lockFiles) {
    static const NameAutomaton automaton = MakeAutomaton(lockFiles);
    return automaton;
}

// Whether the text's lower-cased form ends with the (lower-case) suffix.
bool EndsWithLowered(std::u16string_view text, std::u16string_view suffix) {
    return text.size() >= suffix.size() &&
           std::ranges::equal(text.substr(text.size() - suffix.size()), suffix, {}, ToLowerUnit);
}

bool ArrivesUnderThisName(FileChangeReason reason) {
    return reason == FileChangeReason::kCreate || reason == FileChangeReason::kRenameOldName ||
           reason == FileChangeReason::kRenameNewName;
}

}  // namespace

std::u16string_view LastComponent(std::u16string_view path) {
    const std::size_t separator = path.rfind(u'\\');
    return separator == std::u16string_view::npos ? path : path.substr(separator + 1);
}

TemporaryFileRules::TemporaryFileRules()
    : lockFileMap_{{u"office", kOfficeLockPattern}, {u"dwg", kDwgLockPattern}},
      documentExtensions_{u"sct",  u"psd", u"psb",  u"aep",  u"zip", u"emmx", u"eddx", u"xlsx", u"xls", u"ai",
                          u"pdf",  u"wps", u"docx", u"doc",  u"txt", u"xml",  u"dot",  u"wpt",  u"rtf", u"docm",
                          u"dotm", u"uof", u"dwg",  u"gif",  u"jpg", u"jpeg", u"jpf",  u"png",  u"tif", u"pbm",
                          u"aepx", u"aet", u"pptx", u"mmap", u"ait", u"js",   u"html", u"7z"},
      matlabExtensions_{u"mlx", u"mlapp"},
      shortcutExtensions_{u"lnk", u"rdp"},
      automaton_(&SharedAutomaton(lockFileMap_)) {}

NameClass TemporaryFileRules::Classify(std::u16string_view path) const {
    const std::uint8_t groups = automaton_->Match(LastComponent(path));
    const auto has = [groups](Group group) { return ((groups >> group) & 1) != 0; };
    return {.temporary = has(kTemporary),
            .lock = has(kLock),
            .specialLowered = has(kSpecialLowered),
            .hydration = has(kHydration)};
}

bool TemporaryFileRules::IsRecordedTemporaryFile(const StepRecord& record) const {
    const bool arrives = ArrivesUnderThisName(record.reason);
    if ((record.fileAttributes & platform::kFileAttributeHidden) != 0 && arrives) {
        return true;
    }
    if (platform::IsDirectory(record.fileAttributes) || !arrives) {
        return false;
    }
    const std::u16string_view name = LastComponent(record.fileName);
    const std::size_t dot = name.rfind(u'.');
    if (dot == std::u16string_view::npos) {
        return false;
    }
    static constexpr std::u16string_view kExtensions[] = {u"lnk", u"rdp", u"crdownload", u"midownloading", u"tmp"};
    const std::u16string_view extension = name.substr(dot + 1);
    if (std::ranges::any_of(kExtensions, [&](std::u16string_view e) { return EqualsLowered(extension, e); })) {
        return true;
    }
    if (EndsWithLowered(name, u".baiduyun.uploading.cfg") || EqualsLowered(name, u"desktop.ini")) {
        return true;
    }
    return record.nameClass.specialLowered;
}

bool TemporaryFileRules::HasExtensionIn(const ExtensionSet& extensions, std::u16string_view path) {
    const std::size_t dot = path.rfind(u'.');
    if (dot == std::u16string_view::npos) {
        return false;
    }
    const std::u16string_view extension = path.substr(dot + 1);
    std::array<char16_t, 8> lowered;  // longer than any extension of the sets
    if (extension.size() > lowered.size()) {
        return false;
    }
    std::ranges::transform(extension, lowered.begin(),
                           [](char16_t unit) { return unit < 0x80 ? ToLowerUnit(unit) : unit; });
    return extensions.contains(std::u16string_view(lowered.data(), extension.size()));
}

StepRecord TemporaryFileRules::ToStepRecord(FileChangeInfo change) const {
    StepRecord record{std::move(change), {}, {}};
    record.nameClass = Classify(record.fileName);
    record.originalNameClass = Classify(record.originalFileName);
    return record;
}

std::span<const std::u16string_view> TemporaryFileRules::TemporaryPatterns() {
    return kTemporaryPatterns;
}

std::span<const std::u16string_view> TemporaryFileRules::SpecialPatterns() {
    return kSpecialPatterns;
}

std::u16string_view TemporaryFileRules::HydrationPattern() {
    return kHydrationPattern;
}

}  // namespace tavi::records
