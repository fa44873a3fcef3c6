// Every short sequence of everyday operations that others have published, played through the volume: the same reasons
// in the same order, the same names and file numbers, and the attributes where they are known.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "sim/ntfs_volume.h"

namespace tavi::sim {
namespace {

struct Step {
    std::string name;
    std::uint32_t reason = 0;
    std::string attributes;  // hexadecimal, empty when unknown
    std::string fileNumber;  // as printed; the same text is the same file
};
using Sequences = std::map<std::string, std::vector<Step>>;

std::vector<std::string> Columns(const std::string& line) {
    std::vector<std::string> columns;
    std::istringstream in(line);
    for (std::string column; std::getline(in, column, '\t');) {
        columns.push_back(column);
    }
    columns.resize(std::max<std::size_t>(columns.size(), 12));
    return columns;
}

Sequences ReadSequences() {
    std::ifstream in(std::string(TAVI_RECORDED_JOURNALS) + "/sequences.tsv");
    Sequences sequences;
    std::string line;
    std::getline(in, line);  // the headings
    while (std::getline(in, line)) {
        const std::vector<std::string> columns = Columns(line);
        std::vector<Step>& steps = sequences[columns[0]];
        const std::string number = columns[7] == "same" && !steps.empty() ? steps.back().fileNumber : columns[7];
        steps.push_back(
            {columns[3], static_cast<std::uint32_t>(std::stoul(columns[4], nullptr, 16)), columns[5], number});
    }
    return sequences;
}

std::string ExtensionOf(const std::string& name) {
    const std::size_t dot = name.rfind('.');
    return dot == std::string::npos ? "" : name.substr(dot);
}

bool IsNameInDeleted(const std::string& name) {
    return name.size() == 24 && name.find_first_not_of("0123456789ABCDEF") == std::string::npos;
}

// Names that the system makes up, and those that an author left out, are told by their form.
bool Matches(const std::string& expected, const std::string& actual) {
    if (expected == "(24 hex digits)" || IsNameInDeleted(expected)) {
        return IsNameInDeleted(actual);
    }
    if (expected.starts_with("(")) {
        return ExtensionOf(expected) == ExtensionOf(actual);
    }
    if (expected.starts_with("$R") || expected.starts_with("$I")) {
        return actual.starts_with(expected.substr(0, 2)) && ExtensionOf(expected) == ExtensionOf(actual);
    }
    return expected.substr(0, expected.find(" (")) == actual;
}

bool Matches(const Step& step, const JournalEntry& entry) {
    const std::string name(entry.name.begin(), entry.name.end());
    return step.reason == entry.reason && Matches(step.name, name) &&
           (step.attributes.empty() || std::stoul(step.attributes, nullptr, 16) == entry.attributes);
}

std::string Describe(const std::vector<JournalEntry>& entries) {
    std::ostringstream text;
    for (const JournalEntry& entry : entries) {
        text << std::string(entry.name.begin(), entry.name.end()) << " 0x" << std::hex << entry.reason
             << " attributes 0x" << entry.attributes << " number 0x" << entry.frn << '\n';
    }
    return text.str();
}

// What is published of an operation: all its records, or some of them.
enum class Extent { kAll, kSome };

struct Play {
    Extent extent = Extent::kAll;
    std::function<void(NtfsVolume&)> before;  // what was there already
    std::function<void(NtfsVolume&)> operation;
};

const auto kNothing = [](NtfsVolume&) {};

void CopyWithStreams(NtfsVolume& volume, std::u16string_view path) {
    const Frn frn = volume.MakeHeldFile(path);
    volume.Touch(path, platform::kReasonSecurityChange);
    volume.Write(path, "half", WriteKind::kExtend);
    volume.Write(path, "whole", WriteKind::kOverwrite);
    volume.WriteStream(path, u"Zone.Identifier", "");
    volume.WriteStream(path, u"Zone.Identifier", "[Zone");
    volume.WriteStream(path, u"Zone.Identifier", "[ZoneTransfer]", WriteKind::kOverwrite);
    volume.SetAttributes(path, 0x20);
    volume.Release(frn);
}

void SaveThroughTwoNames(NtfsVolume& volume, std::u16string_view document) {
    volume.Rename(document, u"\\~WRL0001.tmp");
    volume.Rename(u"\\~WRD0000.tmp", document);
    volume.Remove(u"\\~WRL0001.tmp");
}

void WriteWhileHeld(NtfsVolume& volume, std::u16string_view path, std::initializer_list<WriteKind> kinds) {
    volume.Hold(path);
    for (const WriteKind kind : kinds) {
        volume.Write(path, "text", kind);
    }
}

std::map<std::string, Play> PlaysOfOneFile() {
    std::map<std::string, Play> plays;
    plays["S24"] = plays["S25"] = {Extent::kAll, kNothing, [](NtfsVolume& volume) {
                                       volume.MakeFile(u"\\Usn.txt", "hello");
                                       volume.Rename(u"\\Usn.txt", u"\\UsnNew.txt");
                                   }};
    plays["S26"] = {Extent::kSome, kNothing, [](NtfsVolume& volume) {
                        volume.MakeFile(u"\\New Text Document.txt");
                        volume.Rename(u"\\New Text Document.txt", u"\\MyFile.txt");
                        volume.Write(u"\\MyFile.txt", "text");
                    }};
    plays["S27"] = {Extent::kAll, kNothing, [](NtfsVolume& volume) {
                        const std::u16string_view path = u"\\Heisen-9 remote snapshot.kdbx";
                        const Frn frn = volume.MakeFile(path);
                        WriteWhileHeld(volume, path, {WriteKind::kExtend, WriteKind::kOverwrite});
                        volume.SetAttributes(path, 0x20);
                        volume.Release(frn);
                    }};
    plays["S28"] = {Extent::kAll, kNothing, [](NtfsVolume& volume) {
                        const Frn frn = volume.MakeHeldFile(u"\\dump.txt");
                        volume.Write(u"\\dump.txt", "text");
                        volume.Release(frn);
                        volume.SetObjectId(u"\\dump.txt");
                        volume.SetObjectId(u"\\dump.txt");
                    }};
    plays["S29"] = {Extent::kAll, kNothing, [](NtfsVolume& volume) {
                        const Frn frn = volume.MakeHeldFile(u"\\dump.txt");
                        volume.Write(u"\\dump.txt", "text");
                        volume.Write(u"\\dump.txt", "more", WriteKind::kOverwrite);
                        volume.SetAttributes(u"\\dump.txt", 0x20);
                        volume.Release(frn);
                    }};
    plays["S30"] = {Extent::kAll, [](NtfsVolume& volume) { volume.MakeFile(u"\\Heisen-9 remote snapshot.kdbx"); },
                    [](NtfsVolume& volume) {
                        volume.SetObjectId(u"\\Heisen-9 remote snapshot.kdbx");
                        volume.MakeFile(u"\\Heisen-9 remote snapshot.kdbx.lnk", "link");
                    }};
    plays["S31"] = {Extent::kAll, kNothing,
                    [](NtfsVolume& volume) { volume.MakeFile(u"\\MIMIKATZ.EXE-A6294E76.pf", "traces", 0x2020); }};
    plays["S33"] = {Extent::kAll, kNothing,
                    [](NtfsVolume& volume) { CopyWithStreams(volume, u"\\homepilot-main.zip"); }};
    plays["S34"] = {Extent::kAll, kNothing, [](NtfsVolume& volume) { CopyWithStreams(volume, u"\\invoice-jan.pdf"); }};
    plays["S55"] = {Extent::kAll, kNothing, [](NtfsVolume& volume) {
                        volume.MakeFile(u"\\utest.txt", "one");
                        volume.Write(u"\\utest.txt", "two");
                    }};
    plays["S58"] = {Extent::kSome, [](NtfsVolume& volume) { volume.MakeFile(u"\\settings.dat"); },
                    [](NtfsVolume& volume) { volume.Write(u"\\settings.dat", "hive", WriteKind::kOverwrite); }};
    plays["S59"] = {Extent::kAll, [](NtfsVolume& volume) { volume.MakeFile(u"\\any"); },
                    [](NtfsVolume& volume) {
                        WriteWhileHeld(volume, u"\\any", {WriteKind::kOverwrite});
                        volume.SetAttributes(u"\\any", 0x20);
                        volume.Write(u"\\any", "again", WriteKind::kOverwrite);
                        volume.Write(u"\\any", "", WriteKind::kTruncate);
                        volume.Write(u"\\any", "again", WriteKind::kOverwrite);
                        volume.Release(volume.Find(u"\\any"));
                    }};
    plays["S68"] = {Extent::kSome, kNothing, [](NtfsVolume& volume) {
                        volume.MakeFile(u"\\customer_export.csv", "rows");
                        volume.SetAttributes(u"\\customer_export.csv", 0x20);
                    }};
    return plays;
}

std::map<std::string, Play> PlaysOfRenames() {
    std::map<std::string, Play> plays;
    plays["S32"] = {Extent::kSome, [](NtfsVolume& volume) { volume.MakeDirectory(u"\\New folder"); },
                    [](NtfsVolume& volume) {
                        volume.Rename(u"\\New folder", u"\\flyover");
                        volume.SetObjectId(u"\\flyover");
                    }};
    plays["S36"] = {Extent::kSome, [](NtfsVolume& volume) { volume.MakeFile(u"\\homepilot-main.zip"); },
                    [](NtfsVolume& volume) { volume.Rename(u"\\homepilot-main.zip", u"\\homepilot-v1.zip"); }};
    plays["S38"] = {Extent::kSome, kNothing, [](NtfsVolume& volume) {
                        const std::u16string_view part = u"\\Blue_Team_Notes.pdf.crdownload";
                        const Frn frn = volume.MakeFile(u"\\3f9a1c.tmp");
                        volume.Rename(u"\\3f9a1c.tmp", part);
                        WriteWhileHeld(volume, part, {WriteKind::kExtend, WriteKind::kExtend});
                        volume.Release(frn);
                        volume.Rename(part, u"\\Blue_Team_Notes.pdf");
                    }};
    plays["S39"] = {Extent::kAll,
                    [](NtfsVolume& volume) {
                        volume.MakeDirectory(u"\\to");
                        volume.MakeFile(u"\\Blue_Team_Notes.pdf");
                    },
                    [](NtfsVolume& volume) { volume.Rename(u"\\Blue_Team_Notes.pdf", u"\\to\\Blue_Team_Notes.pdf"); }};
    plays["S44"] = {
        Extent::kSome, [](NtfsVolume& volume) { volume.MakeFile(u"\\old.cat"); },
        [](NtfsVolume& volume) {
            volume.Hold(u"\\old.cat");
            volume.Touch(u"\\old.cat", 0x400000);
            volume.Rename(u"\\old.cat", u"\\79b3d4b1fa3e46bbfa009836e708599240d1422176402dcb063a54ee75204901.cat");
            volume.Release(volume.Find(u"\\79b3d4b1fa3e46bbfa009836e708599240d1422176402dcb063a54ee75204901.cat"));
        }};
    plays["S56"] = {Extent::kSome, [](NtfsVolume& volume) { volume.MakeFile(u"\\secret.txt", "secret"); },
                    [](NtfsVolume& volume) {
                        volume.Write(u"\\secret.txt", "xxxxxx", WriteKind::kOverwrite);
                        std::u16string path = u"\\secret.txt";
                        for (char16_t letter = u'A'; letter <= u'Z'; ++letter) {
                            const std::u16string next =
                                u"\\" + std::u16string(6, letter) + u"." + std::u16string(3, letter);
                            volume.Rename(std::exchange(path, next), next);
                        }
                        volume.Remove(path);
                    }};
    plays["S61"] = {Extent::kSome, [](NtfsVolume& volume) { volume.MakeDirectory(u"\\aa8"); },
                    [](NtfsVolume& volume) { volume.Rename(u"\\aa8", u"\\aa9"); }};
    plays["S63"] = {Extent::kSome, [](NtfsVolume& volume) { volume.MakeFile(u"\\report.doc"); },
                    [](NtfsVolume& volume) {
                        volume.MakeFile(u"\\~WRD0000.tmp", "new");
                        SaveThroughTwoNames(volume, u"\\report.doc");
                    }};
    plays["S64"] = {Extent::kSome,
                    [](NtfsVolume& volume) {
                        volume.MakeFile(u"\\report.docx");
                        volume.MakeFile(u"\\~WRD0000.tmp", "new");
                    },
                    [](NtfsVolume& volume) { SaveThroughTwoNames(volume, u"\\report.docx"); }};
    plays["S66"] = {Extent::kSome,
                    [](NtfsVolume& volume) {
                        volume.MakeFile(u"\\target");
                        volume.MakeFile(u"\\source");
                        volume.Hold(u"\\target");
                    },
                    [](NtfsVolume& volume) { volume.Replace(u"\\source", u"\\target"); }};
    return plays;
}

std::map<std::string, Play> PlaysOfDeletions() {
    std::map<std::string, Play> plays;
    plays["S46"] = {Extent::kAll, kNothing, [](NtfsVolume& volume) {
                        volume.MakeFile(u"\\test.txt");
                        volume.Remove(u"\\test.txt");
                    }};
    plays["S47"] = {Extent::kAll, kNothing, [](NtfsVolume& volume) {
                        volume.ReuseNumbers(false);
                        volume.MakeFile(u"\\test.txt");
                        volume.Remove(u"\\test.txt");
                        volume.MakeFile(u"\\test.txt", "text");
                    }};
    plays["S48"] = {Extent::kSome, kNothing, [](NtfsVolume& volume) {
                        const Frn frn = volume.MakeHeldFile(u"\\PSEXEC-HOST01-95F03CFE.key");
                        volume.Write(u"\\PSEXEC-HOST01-95F03CFE.key", "key");
                        volume.Remove(u"\\PSEXEC-HOST01-95F03CFE.key");
                        volume.Release(frn);
                    }};
    plays["S49"] = {Extent::kSome, kNothing, [](NtfsVolume& volume) {
                        const Frn frn = volume.MakeHeldFile(u"\\file");
                        volume.WriteStream(u"\\file", u"stream", "data");
                        volume.SetAttributes(u"\\file", 0x2020);
                        volume.Touch(u"\\file", 0x4000);
                        volume.Rename(u"\\file", u"\\renamed");
                        volume.ReleaseAndDelete(frn);
                    }};
    plays["S50"] = {Extent::kAll, [](NtfsVolume& volume) { volume.MakeFile(u"\\FILE_NAME", "", 0x2020); },
                    [](NtfsVolume& volume) { volume.Remove(u"\\FILE_NAME"); }};
    plays["S51"] = {Extent::kAll,
                    [](NtfsVolume& volume) {
                        volume.MakeFile(u"\\pending.txt");
                        volume.Hold(u"\\pending.txt");
                    },
                    [](NtfsVolume& volume) {
                        const Frn frn = volume.Find(u"\\pending.txt");
                        volume.Remove(u"\\pending.txt");
                        volume.Release(frn);
                    }};
    plays["S52"] = {Extent::kSome,
                    [](NtfsVolume& volume) {
                        volume.MakeDirectory(u"\\top");
                        volume.MakeFile(u"\\top\\top.txt");
                    },
                    [](NtfsVolume& volume) { volume.RemoveTree(u"\\top", TreeRemoval::kByHandle); }};
    plays["S53"] = {Extent::kAll,
                    [](NtfsVolume& volume) {
                        volume.MakeDirectory(u"\\d");
                        volume.MakeFile(u"\\d\\f.txt");
                    },
                    [](NtfsVolume& volume) { volume.RemoveTree(u"\\d"); }};
    plays["S54"] = {Extent::kAll, kNothing, [](NtfsVolume& volume) {
                        const Frn frn = volume.MakeHeldFile(u"\\temp");
                        volume.Write(u"\\temp", "text");
                        volume.ReleaseAndDelete(frn);
                    }};
    plays["S57"] = {Extent::kAll, [](NtfsVolume& volume) { volume.MakeFile(u"\\Preferences~RF101ac0ae.TMP"); },
                    [](NtfsVolume& volume) { volume.Remove(u"\\Preferences~RF101ac0ae.TMP"); }};
    return plays;
}

std::map<std::string, Play> PlaysOfSeveralFiles() {
    std::map<std::string, Play> plays;
    plays["S35"] = {Extent::kSome,
                    [](NtfsVolume& volume) {
                        for (const char16_t* path : {u"\\a.docx", u"\\b.docx", u"\\c.zip", u"\\d.zip"}) {
                            volume.MakeFile(path);
                        }
                    },
                    [](NtfsVolume& volume) {
                        for (const char16_t* path : {u"\\a.docx", u"\\b.docx", u"\\c.zip", u"\\d.zip"}) {
                            volume.Recycle(path);
                        }
                    }};
    plays["S37"] = {Extent::kSome, kNothing, [](NtfsVolume& volume) {
                        for (const char16_t* path : {u"\\homepilot-v1.zip", u"\\homepilot-v2.zip", u"\\Files.zip"}) {
                            volume.MakeFile(path, "archive");
                        }
                    }};
    plays["S40"] = {Extent::kAll,
                    [](NtfsVolume& volume) {
                        volume.MakeDirectory(u"\\kept");
                        for (const std::u16string name : {u"\\2017.hcc", u"\\2018.hcc", u"\\2019.hcc"}) {
                            volume.MakeFile(name);
                            volume.MakeLink(name, u"\\kept" + name);
                        }
                    },
                    [](NtfsVolume& volume) {
                        for (const char16_t* path : {u"\\2017.hcc", u"\\2018.hcc", u"\\2019.hcc"}) {
                            volume.Remove(path);
                        }
                    }};
    const std::u16string blob = u"\\1E57CF2792A900D06C1CDFB3C453F35BC86F72788AA9724C96C929D1CC6B456A00.blob";
    plays["S41"] = {Extent::kAll, [blob](NtfsVolume& volume) { volume.MakeFile(blob); },
                    [blob](NtfsVolume& volume) {
                        for (const char16_t* link : {u"\\1.txt", u"\\2.txt"}) {
                            volume.MakeLink(blob, link);
                            volume.Touch(blob, platform::kReasonClose);
                        }
                    }};
    plays["S45"] = {Extent::kSome, kNothing, [](NtfsVolume& volume) {
                        volume.MakeFile(u"\\62e4f811156dd101d800000084088c08.Generalize.xml", "<xml/>");
                        volume.MakeFile(u"\\62e4f811156dd101d900000084088c08.Specialize.xml", "<xml/>");
                    }};
    plays["S60"] = {Extent::kSome,
                    [](NtfsVolume& volume) {
                        for (const char16_t* path : {u"\\schedule log.xml", u"\\test.vbs", u"\\WindowsUpdate.log"}) {
                            volume.MakeFile(path, "old");
                        }
                    },
                    [](NtfsVolume& volume) {
                        volume.MakeFile(u"\\helloworld.txt", "hello");
                        volume.Write(u"\\schedule log.xml", "new", WriteKind::kTruncate);
                        WriteWhileHeld(volume, u"\\test.vbs", {WriteKind::kExtend, WriteKind::kOverwrite});
                        volume.Remove(u"\\WindowsUpdate.log");
                        volume.MakeFile(u"\\A75BFDE52F3DD8E6.dat", "data", 0x2020);
                    }};
    plays["S62"] = {
        Extent::kSome,
        [](NtfsVolume& volume) {
            volume.MakeDirectory(u"\\folder2\\folder3");
            for (const char16_t* path : {u"\\folder2\\text1.txt", u"\\folder2\\text2.txt", u"\\folder2\\text3.txt"}) {
                volume.MakeFile(path);
            }
        },
        [](NtfsVolume& volume) {
            for (const char16_t* path : {u"\\folder2", u"\\folder2\\text1.txt", u"\\folder2\\text2.txt",
                                         u"\\folder2\\text3.txt", u"\\folder2\\folder3"}) {
                volume.SetObjectId(path);
            }
        }};
    plays["S65"] = {Extent::kSome, [](NtfsVolume& volume) { volume.MakeFile(u"\\notes.txt"); },
                    [](NtfsVolume& volume) { volume.Rename(volume.Recycle(u"\\notes.txt"), u"\\notes.txt"); }};
    plays["S67"] = {Extent::kSome, [](NtfsVolume& volume) { volume.MakeFile(u"\\f.crdownload"); },
                    [](NtfsVolume& volume) {
                        volume.Rename(u"\\f.crdownload", u"\\Finance08062023.iso");
                        volume.MakeFile(u"\\connecttest[1].txt", "", 0x2020);
                    }};
    return plays;
}

std::map<std::string, Play> AllPlays() {
    std::map<std::string, Play> plays = PlaysOfOneFile();
    plays.merge(PlaysOfRenames());
    plays.merge(PlaysOfDeletions());
    plays.merge(PlaysOfSeveralFiles());
    return plays;
}

std::vector<JournalEntry> Perform(const Play& play) {
    NtfsVolume volume(u'C', [] { return std::uint64_t{133594528890000000}; });
    play.before(volume);
    const std::int64_t from = volume.WithJournal([](EmulatedJournal& journal) { return journal.nextUsn(); });
    play.operation(volume);
    return volume.WithJournal([from](EmulatedJournal& journal) { return journal.EntriesFrom(from); });
}

void Compare(const std::vector<Step>& steps, const std::vector<JournalEntry>& entries, Extent extent) {
    std::map<std::string, Frn> numbers;
    std::size_t next = 0;
    for (const Step& step : steps) {
        const std::size_t at = next;
        while (next < entries.size() && !Matches(step, entries[next])) {
            ++next;
        }
        ASSERT_TRUE(next < entries.size() && (extent == Extent::kSome || next == at))
            << step.name << " 0x" << std::hex << step.reason << " is not the next one of\n"
            << Describe(entries);
        if (!step.fileNumber.empty()) {
            EXPECT_EQ(numbers.try_emplace(step.fileNumber, entries[next].frn).first->second, entries[next].frn);
        }
        ++next;
    }
    EXPECT_TRUE(extent == Extent::kSome || next == entries.size()) << Describe(entries);
}

TEST(RecordedSequences, VolumeWritesTheSameRecords) {
    const Sequences sequences = ReadSequences();
    if (sequences.empty()) {
        GTEST_SKIP() << "the recorded sequences are not here";
    }
    const std::map<std::string, Play> plays = AllPlays();
    for (const auto& [name, steps] : sequences) {
        SCOPED_TRACE(name);
        const auto play = plays.find(name);
        ASSERT_NE(play, plays.end()) << "nobody plays it";
        Compare(steps, Perform(play->second), play->second.extent);
    }
}

}  // namespace
}  // namespace tavi::sim
