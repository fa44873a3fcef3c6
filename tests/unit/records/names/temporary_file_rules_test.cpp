#include "records/names/temporary_file_rules.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "unit/records/names/name_reference.h"
#include "unit/records/steps/step_fixture.h"

namespace tavi::records {
namespace {

class TemporaryFileRulesTest : public StepTest {
protected:
    static bool Recorded(FileChangeReason reason, std::u16string name, std::uint32_t attributes = kFile) {
        return Rules().IsRecordedTemporaryFile(Change(reason, std::move(name), attributes));
    }
};

TEST_F(TemporaryFileRulesTest, OfficeOwnerFileIsTemporaryAndALockFileCaseSensitively) {
    EXPECT_FALSE(Rules().IsTemporaryFileName(u"report.docx"));
    EXPECT_FALSE(Rules().Classify(u"report.docx").lock);
    EXPECT_TRUE(Rules().IsTemporaryFileName(u"~$report.docx"));
    EXPECT_TRUE(Rules().Classify(u"~$report.docx").lock);
    EXPECT_FALSE(Rules().IsTemporaryFileName(u"~$Report.DOCX"));
    EXPECT_FALSE(Rules().Classify(u"~$Report.DOCX").lock);
}

TEST_F(TemporaryFileRulesTest, PresentationTemporaryIsLowerCaseOnly) {
    EXPECT_TRUE(Rules().IsTemporaryFileName(u"ppt1a2.tmp"));
    EXPECT_FALSE(Rules().IsTemporaryFileName(u"PPT1A2.TMP"));
}

TEST_F(TemporaryFileRulesTest, EightHexadecimalDigitsAreTemporary) {
    EXPECT_TRUE(Rules().IsTemporaryFileName(u"a1b2c3d4"));
    EXPECT_FALSE(Rules().IsTemporaryFileName(u"a1b2c3d"));
    EXPECT_FALSE(Rules().IsTemporaryFileName(u"a1b2c3d4e"));
    EXPECT_FALSE(Rules().IsTemporaryFileName(u"a1b2c3g4"));
    EXPECT_FALSE(Rules().IsTemporaryFileName(u"A1B2C3D4"));
}

TEST_F(TemporaryFileRulesTest, DesktopIniIsTemporaryAndRecordedWhenCreatedOrRenamed) {
    EXPECT_TRUE(Rules().IsTemporaryFileName(u"desktop.ini"));
    EXPECT_TRUE(Recorded(FileChangeReason::kCreate, u"desktop.ini"));
    EXPECT_TRUE(Recorded(FileChangeReason::kRenameOldName, u"desktop.ini"));
    EXPECT_TRUE(Recorded(FileChangeReason::kRenameNewName, u"docs\\Desktop.INI"));
    EXPECT_FALSE(Recorded(FileChangeReason::kModify, u"desktop.ini"));
}

TEST_F(TemporaryFileRulesTest, ExtensionOfADirectoryIsNotTheFilesExtension) {
    EXPECT_FALSE(TemporaryFileRules::HasExtensionIn(Rules().documentExtensions(), u"docs.old\\readme"));
    EXPECT_FALSE(TemporaryFileRules::HasExtensionIn(Rules().documentExtensions(), u"docs.txt\\readme"));
}

TEST_F(TemporaryFileRulesTest, CreatedHiddenDirectoryIsRecordedAndAVisibleOneIsNot) {
    EXPECT_TRUE(Recorded(FileChangeReason::kCreate, u"cache", kDirectory | kHidden));
    EXPECT_FALSE(Recorded(FileChangeReason::kCreate, u"cache", kDirectory));
    EXPECT_FALSE(Recorded(FileChangeReason::kCreate, u"cache.tmp", kDirectory));
}

TEST_F(TemporaryFileRulesTest, EveryEntryOfTheTableHasANameOfItsOwnAndNeighboursItLeaves) {
    // Row by row in the order of the table; the neighbour is matched by no entry.
    const struct {
        const char16_t* name;
        const char16_t* neighbour;
    } rows[] = {
        {u".my_document_s.ini", u"my_document_s.ini"},
        {u"$RECYCLE", u"x$RECYCLE"},
        {u"desktop.ini", u"Desktop.ini"},
        {u"chrome.lnk", u"chrome.lnk2"},
        {u"__rar_12.345", u"__rar_12.345x"},
        {u"~wrd0001xtmp", u"~wrd001xtmp"},
        {u"~$a.docx.srctemp", u"~$a.docx.srct"},
        {u"ppt1a2.tmp", u"ppt1a2.TMP"},
        {u"deck.pptx~rf1a2b3c.tmp", u"deck.pptx~rf1a2b3c.tm"},
        {u"0123ab.tmp", u"0123ab.tmpx"},
        {u"0123,bcd", u"0123bcdg"},
        {u"~$a.pdf", u"~$a.pdx"},
        {u"x~1a2b3.tmp", u"x~1a2b3.Tmp"},
        {u"mso1a2b.tmp", u"mso1a2b.tmp "},
        {u"acrolock..,0.tmp", u"acrolock..,0.tnp"},
        {u"live.mlx.bak", u"live.mlz.bak"},
        {u"appDesignerTempData_123456789012", u"appdesignerTempData_123456789012"},
        {u"psab1.tmp", u"psab1.bmp"},
        {u"draw.bak12.3", u"draw.bak12.x"},
        {u"mind.emmx.abcdef", u"mind.emmx.abcdeF"},
        {u"base.laccdb", u"base.laccd"},
        {u"ab12.cd34~", u"ab12cd34~"},
        {u"x~abcdefghi.tmp", u"x~abcdefghi-tmp"},
        {u"flow.eddx.abcdef", u"flow.eddx.abcde"},
        {u"clip.1234.56789.aep", u"clip.1234.567.aep"},
        {u"abcdefgh_abcdef_abc.tmp", u"abcdefgh_abcdef_abc.tm"},
        {u"abcdefgh_abcdefg_meg.tmp", u"abcdefgh_abcdefg_meg.temp"},
        {u"~ai-01234567-89ab-cdef-0123-456789abcdef_.tmp", u"ai-01234567-89ab-cdef-0123-456789abcdef_"},
        {u"logo.svg.bak0123abcd", u"logo.svg.bak0123abc"},
        {u"ai012345.tmp", u"ai012345_tmp"},
        {u"~$note.html", u"~$note.htmlx"},
        {u"~WRL0001.tmp", u"WRL0001.TMP"},
        {u"{b}.tmp", u"{b}.tmq"},
        {u"pack.zip.tmp", u"pack.zip"},
        {u"hz~0abc.tmp", u"hz~0abc"},
        {u"savabc.tmp", u"savabc"},
        {u"plan.dwl2", u"plan.dwl3"},
        {u"zwabcd1234", u"zwabcd123"},
        {u"MFCab12.tmp", u"MFCab12"},
        {u"a.mmap.qwerty", u"a.mmap.qwert1"},
        {u"~$song.mp3", u"~$song.mp4"},
        {u"nzpab12.tmp", u"nzpab12"},
        {u"abcdefgh-1234-abcd-abcdefgh1234.txt", u"abcdefgh-1234-abcd-abcdefgh123.txt"},
        {u"~Nuvexa_x.tmp", u"~Nuvexa_x"},
        {u"setup.crdownload", u"setup.crdownloads"},
        {u"a.~tmp", u"a.~tmq"},
        {u"atmp0", u"atmp"},
        {u"film.midownloading", u"film.midownload"},
        {u"x.baiduyun.uploading.cfg", u"x.baiduyun.uploading.cfgs"},
        {u".~draft.md", u".draft.md"},
        {u"store.db9.bak", u"store.db0.bak"},
        {u"store.db.bak", u"store.db.bat"},
        {u"x.ldenc", u"xldenc"},
        {u"x.ldtmp", u"x.ldtmpx"},
        {u"plan.dwg.bak", u"plan.dwg.bk"},
        {u"plan.dwg.lck", u"plan.dwg.lc"},
    };
    static_assert(std::size(rows) == 56);
    ASSERT_EQ(TemporaryFileRules::TemporaryPatterns().size(), std::size(rows));
    for (std::size_t i = 0; i < std::size(rows); ++i) {
        const NameAutomaton::Expression own[] = {{TemporaryFileRules::TemporaryPatterns()[i], 0}};
        EXPECT_EQ(NameAutomaton(own).Match(rows[i].name), 1) << "entry " << i + 1;
        EXPECT_TRUE(Rules().IsTemporaryFileName(rows[i].name)) << "entry " << i + 1;
        EXPECT_TRUE(Rules().IsTemporaryFileName(std::u16string(u"some\\folder.x\\") + rows[i].name)) << i + 1;
        EXPECT_FALSE(Rules().IsTemporaryFileName(rows[i].neighbour)) << "entry " << i + 1;
    }
}

// A comma in a class is a comma that a name may have, and every bound is as it is: nothing may be tidied.
TEST_F(TemporaryFileRulesTest, TheExpressionsAreKeptToTheLetter) {
    EXPECT_TRUE(std::ranges::equal(TemporaryFileRules::TemporaryPatterns(), reference::TemporaryPatterns()));
    EXPECT_TRUE(std::ranges::equal(TemporaryFileRules::SpecialPatterns(), reference::SpecialPatterns()));
    EXPECT_EQ(TemporaryFileRules::HydrationPattern(), reference::HydrationPattern());
    for (const char16_t* const name :
         {u"a,b.cd~", u"logo.ai.bak0,23abcd", u"zw0,23abcd", u"atmp,", u"abc,efgh-1234-abcd-abcdefgh1234.txt"}) {
        EXPECT_TRUE(Rules().IsTemporaryFileName(name)) << testing::PrintToString(std::u16string(name));
    }
}

TEST_F(TemporaryFileRulesTest, AnUpperCaseWordTemporaryIsCaughtByEntry32AndNotBy6) {
    const auto matches = [](std::size_t entry) {
        const NameAutomaton::Expression own[] = {{TemporaryFileRules::TemporaryPatterns()[entry - 1], 0}};
        return NameAutomaton(own).Match(u"~WRL0001.tmp") != 0;
    };
    EXPECT_FALSE(matches(6));
    EXPECT_TRUE(matches(32));
}

TEST_F(TemporaryFileRulesTest, OnlyTheLastComponentCounts) {
    EXPECT_FALSE(Rules().IsTemporaryFileName(u"a.tmp\\notes.md"));
    EXPECT_TRUE(Rules().IsTemporaryFileName(u"notes.md\\a.tmp"));
    EXPECT_FALSE(Rules().IsTemporaryFileName(u"a.tmp\\"));
    EXPECT_FALSE(Rules().IsTemporaryFileName(u""));
    EXPECT_TRUE(Rules().IsTemporaryFileName(u"$dir/x")) << "a slash is no separator";
}

TEST_F(TemporaryFileRulesTest, LockFilesAreThoseOfTheTwoFamilies) {
    EXPECT_EQ(Rules().lockFileMap().size(), 2U);
    EXPECT_EQ(Rules().lockFileMap().at(u"office"), uR"(^~\$.*\.(docx|xlsx|pptx|doc|xls|ppt|pdf|xml|rtf)$)");
    EXPECT_EQ(Rules().lockFileMap().at(u"dwg"), uR"(^.*\.dwl$)");
    EXPECT_TRUE(Rules().Classify(u"cad\\plan.dwl").lock);
    EXPECT_TRUE(Rules().Classify(u"~$a.rtf").lock);
    EXPECT_FALSE(Rules().Classify(u"plan.dwl2").lock) << "temporary, but no lock file";
    EXPECT_FALSE(Rules().Classify(u"~$a.txt").lock) << "temporary, but no lock file";
    EXPECT_FALSE(Rules().Classify(u"~$a.rtf\\b").lock);
}

TEST_F(TemporaryFileRulesTest, HydrationNamesNeedOneCharacterBetween) {
    EXPECT_TRUE(Rules().IsHydrationFileName(u"d\\~Nuvexa_a.txt.tmp"));
    EXPECT_FALSE(Rules().IsHydrationFileName(u"~Nuvexa_.tmp"));
    EXPECT_FALSE(Rules().IsHydrationFileName(u"~nuvexa_a.tmp"));
    EXPECT_FALSE(Rules().IsHydrationFileName(u"x~Nuvexa_a.tmp"));
}

TEST_F(TemporaryFileRulesTest, SpecialNamesAreDatabaseBackupsAndCadLocksInAnyCase) {
    const char16_t* const special[] = {u"a.db1.bak", u"a.db.bak",  u"a.ldenc", u"a.ldtmp",
                                       u"a.dwg.bak", u"a.dwg.lck", u"a.DB.bak"};
    for (const char16_t* const name : special) {
        EXPECT_TRUE(Rules().Classify(name).specialLowered) << testing::PrintToString(std::u16string(name));
        EXPECT_TRUE(Recorded(FileChangeReason::kCreate, name)) << testing::PrintToString(std::u16string(name));
    }
    const char16_t* const others[] = {u"",      u"tmp",           u".tmp",          u"a.tmp",    u"a.db0.bak",
                                      u"a.bak", u"~NUVEXA_x.tmp", u"~nuvexa_x.TMP", u"~nuvexa_", u"x~nuvexa_.tmp"};
    for (const char16_t* const name : others) {
        EXPECT_FALSE(Rules().Classify(name).specialLowered) << testing::PrintToString(std::u16string(name));
    }
}

TEST_F(TemporaryFileRulesTest, UploadsAreRecordedAsEveryTemporaryFileIs) {
    for (const char16_t* const name : {u"~nuvexa_.tmp", u"~Nuvexa_x.tmp", u"~nuvexa_\n.tmp"}) {
        EXPECT_TRUE(Recorded(FileChangeReason::kCreate, name)) << testing::PrintToString(std::u16string(name));
    }
    EXPECT_FALSE(Recorded(FileChangeReason::kCreate, u"~nuvexa_"));
}

TEST_F(TemporaryFileRulesTest, HiddenIsRecordedOnArrivalOnly) {
    for (const auto reason :
         {FileChangeReason::kCreate, FileChangeReason::kRenameOldName, FileChangeReason::kRenameNewName}) {
        EXPECT_TRUE(Recorded(reason, u"plain", kFile | kHidden));
    }
    for (const auto reason : {FileChangeReason::kUnknown, FileChangeReason::kNone, FileChangeReason::kDelete,
                              FileChangeReason::kModify, FileChangeReason::kMove, FileChangeReason::kRename}) {
        EXPECT_FALSE(Recorded(reason, u"plain", kFile | kHidden));
        EXPECT_FALSE(Recorded(reason, u"a.tmp", kFile | kHidden));
    }
}

TEST_F(TemporaryFileRulesTest, RecordedNamesAreComparedLowerCased) {
    const char16_t* const recorded[] = {u"a.lnk",
                                        u"A.LNK",
                                        u"d\\x.RDP",
                                        u"x.crdownload",
                                        u"x.CrDownload",
                                        u"x.midownloading",
                                        u"x.TMP",
                                        u".tmp",
                                        u"x.LN\u212A",
                                        u"DESKTOP.ini",
                                        u"x.BaiduYun.uploading.CFG",
                                        u".baiduyun.uploading.cfg",
                                        u"A.DB7.BAK",
                                        u"A.DWG.LC\u212A",
                                        u"A.LDENC",
                                        u"x.ldtmp"};
    for (const char16_t* const name : recorded) {
        EXPECT_TRUE(Recorded(FileChangeReason::kCreate, name)) << testing::PrintToString(std::u16string(name));
    }
    const char16_t* const others[] = {
        u"tmp",           u"lnk",        u"a.tmp\\b",         u"a.tmpx",      u"a.docx",    u"~$a.docx",
        u"xdesktop.ini",  u"a1b2c3d4",   u"plan.dwl",         u"a.db0.bak",   u"a.lnk.txt", u"a.",
        u"uploading.cfg", u"a.tmp\\b.c", u"x.LN\u212A\u212A", u"a\nb.db.bak", u""};
    for (const char16_t* const name : others) {
        EXPECT_FALSE(Recorded(FileChangeReason::kCreate, name)) << testing::PrintToString(std::u16string(name));
    }
}

TEST_F(TemporaryFileRulesTest, ExtensionLookUpLowersAsciiLettersOnly) {
    const auto& matlab = Rules().matlabExtensions();
    EXPECT_TRUE(TemporaryFileRules::HasExtensionIn(matlab, u"a.mlx"));
    EXPECT_TRUE(TemporaryFileRules::HasExtensionIn(matlab, u"dir.x\\A.MLApp"));
    EXPECT_TRUE(TemporaryFileRules::HasExtensionIn(matlab, u".mlx"));
    EXPECT_FALSE(TemporaryFileRules::HasExtensionIn(matlab, u"mlx"));
    EXPECT_FALSE(TemporaryFileRules::HasExtensionIn(matlab, u"a.mlx."));
    EXPECT_FALSE(TemporaryFileRules::HasExtensionIn(matlab, u"a.mlx\\b"));
    EXPECT_FALSE(TemporaryFileRules::HasExtensionIn(matlab, u"a.mlappmlapp"));
    EXPECT_FALSE(TemporaryFileRules::HasExtensionIn(matlab, u""));
    const TemporaryFileRules::ExtensionSet withK = {u"k"};
    EXPECT_TRUE(TemporaryFileRules::HasExtensionIn(withK, u"a.K"));
    EXPECT_FALSE(TemporaryFileRules::HasExtensionIn(withK, u"a.\u212A"));
}

TEST_F(TemporaryFileRulesTest, ExtensionSetsAreComplete) {
    const TemporaryFileRules::ExtensionSet documents = {
        u"sct", u"psd", u"psb", u"aep", u"zip",  u"emmx", u"eddx", u"xlsx", u"xls", u"ai",  u"pdf",  u"wps", u"docx",
        u"doc", u"txt", u"xml", u"dot", u"wpt",  u"rtf",  u"docm", u"dotm", u"uof", u"dwg", u"gif",  u"jpg", u"jpeg",
        u"jpf", u"png", u"tif", u"pbm", u"aepx", u"aet",  u"pptx", u"mmap", u"ait", u"js",  u"html", u"7z"};
    EXPECT_EQ(documents.size(), 38U);
    EXPECT_EQ(Rules().documentExtensions(), documents);
    EXPECT_EQ(Rules().matlabExtensions(), (TemporaryFileRules::ExtensionSet{u"mlx", u"mlapp"}));
    EXPECT_EQ(Rules().shortcutExtensions(), (TemporaryFileRules::ExtensionSet{u"lnk", u"rdp"}));
    for (const std::u16string_view extension : documents) {
        EXPECT_TRUE(TemporaryFileRules::HasExtensionIn(documents, std::u16string(u"a.").append(extension)));
    }
}

TEST_F(TemporaryFileRulesTest, LastComponentIsWhatFollowsTheLastBackslash) {
    EXPECT_EQ(LastComponent(u"a\\b\\c"), u"c");
    EXPECT_EQ(LastComponent(u"c"), u"c");
    EXPECT_EQ(LastComponent(u"a\\"), u"");
    EXPECT_EQ(LastComponent(u""), u"");
    EXPECT_EQ(LastComponent(u"a/b"), u"a/b");
}

TEST_F(TemporaryFileRulesTest, RulesBuiltLaterAnswerTheSameAndOutliveTheFirst) {
    auto first = std::make_unique<TemporaryFileRules>();
    const TemporaryFileRules second;
    for (const char16_t* name : {u"~$a.docx", u"a.dwl", u"base.db.bak", u"~Nuvexa_a.tmp", u"a.txt"}) {
        EXPECT_EQ(first->Classify(name), second.Classify(name));
    }
    first.reset();
    EXPECT_EQ(second.Classify(u"~$a.docx"), (NameClass{.temporary = true, .lock = true}));
    EXPECT_EQ(second.Classify(u"a.txt"), NameClass{});
}

TEST_F(TemporaryFileRulesTest, StepRecordCarriesTheClassesOfBothNames) {
    FileChangeInfo change;
    change.fileName = u"a.txt";
    change.originalFileName = u"d\\~$a.docx";
    const StepRecord record = Rules().ToStepRecord(change);
    EXPECT_EQ(static_cast<const FileChangeInfo&>(record), change);
    EXPECT_EQ(record.nameClass, NameClass{});
    EXPECT_EQ(record.originalNameClass, (NameClass{.temporary = true, .lock = true}));
}

}  // namespace
}  // namespace tavi::records
