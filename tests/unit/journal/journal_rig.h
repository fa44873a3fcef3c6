// What the journal's tests share: a simulated machine with a database, and in front of its files a spy that keeps what
// the control codes and the openings by number were given, and can refuse single control codes.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "db/sqlite3_operator.h"
#include "journal/volume_journal.h"
#include "platform/constants.h"
#include "sim/captured_log.h"
#include "sim/machine.h"
#include "support/forwarding.h"
#include "support/platform_with.h"

namespace tavi::journal::testing {

class SpyFiles : public test::ForwardingFiles, public test::ForwardingVolumes, public test::ForwardingNativeCalls {
public:
    struct Opening {
        std::u16string path;
        std::uint32_t access = 0;
        std::uint32_t shareMode = 0;
        std::uint32_t disposition = 0;
        std::uint32_t flags = 0;
    };
    struct ControlCall {
        std::uint32_t code = 0;
        std::vector<std::byte> input;
        std::size_t outputBytes = 0;
    };
    struct Refusal {
        int times = 0;
        std::uint32_t error = 0;
    };

    explicit SpyFiles(sim::Machine& machine)
        : ForwardingFiles(machine.files()),
          ForwardingVolumes(machine.files()),
          ForwardingNativeCalls(machine.files()),
          machine_(machine) {}

    platform::Handle CreateFileW(const std::u16string& path, std::uint32_t access, std::uint32_t shareMode,
                                 std::uint32_t disposition, std::uint32_t flagsAndAttributes) override {
        openings.push_back({path, access, shareMode, disposition, flagsAndAttributes});
        return ForwardingFiles::CreateFileW(path, access, shareMode, disposition, flagsAndAttributes);
    }
    bool DeviceIoControl(platform::Handle handle, std::uint32_t controlCode, std::span<const std::byte> input,
                         std::span<std::byte> output, std::uint32_t& bytesReturned) override {
        controls.push_back({controlCode, {input.begin(), input.end()}, output.size()});
        Refusal& refusal = refusals[controlCode];
        if (refusal.times > 0) {
            --refusal.times;
            machine_.faults().Fail({.call = "Volumes.DeviceIoControl", .code = refusal.error});
        } else if (beforeControl) {
            beforeControl(controlCode);
        }
        const bool succeeded = ForwardingVolumes::DeviceIoControl(handle, controlCode, input, output, bytesReturned);
        if (succeeded && afterRead && controlCode == platform::kFsctlReadUsnJournal) {
            afterRead(output, bytesReturned);
        }
        return succeeded;
    }
    std::int32_t NtCreateFile(platform::ProcAddress function, const platform::NtOpenById& request,
                              platform::Handle& opened) override {
        openingsById.push_back(request);
        if (refusedAccess.contains(request.desiredAccess)) {
            return static_cast<std::int32_t>(0xC0000043);  // a sharing violation
        }
        return ForwardingNativeCalls::NtCreateFile(function, request, opened);
    }
    std::int32_t NtQueryInformationFile(platform::ProcAddress function, platform::Handle handle,
                                        std::span<std::byte> buffer, std::uint32_t informationClass) override {
        nameQueries.push_back({informationClass, buffer.size()});
        if (nameAnswer) {
            return nameAnswer(buffer);
        }
        return ForwardingNativeCalls::NtQueryInformationFile(function, handle, buffer, informationClass);
    }

    std::size_t CountControls(std::uint32_t code) const {
        std::size_t count = 0;
        for (const ControlCall& call : controls) {
            count += call.code == code ? 1 : 0;
        }
        return count;
    }
    template <typename Request>
    Request LastRequest(std::uint32_t code) const {
        Request request{};
        for (const ControlCall& call : controls) {
            if (call.code == code && call.input.size() == sizeof request) {
                std::memcpy(&request, call.input.data(), sizeof request);
            }
        }
        return request;
    }

    std::vector<Opening> openings;
    std::vector<ControlCall> controls;
    std::map<std::uint32_t, Refusal> refusals;  // by control code
    std::vector<platform::NtOpenById> openingsById;
    std::set<std::uint32_t> refusedAccess;                           // openings by number that ask for it are refused
    std::vector<std::pair<std::uint32_t, std::size_t>> nameQueries;  // class and buffer size
    std::function<void(std::uint32_t code)> beforeControl;
    std::function<void(std::span<std::byte> output, std::uint32_t& bytesReturned)> afterRead;
    std::function<std::int32_t(std::span<std::byte> buffer)> nameAnswer;

private:
    sim::Machine& machine_;
};

// A journal with what its owner keeps for it, the position and the path mapping, read as the cycle reads it.
class ReadJournal : public VolumeJournal {
public:
    using VolumeJournal::VolumeJournal;

    records::UsnRecordList ReadUsnRecords() {
        JournalRead read = VolumeJournal::ReadUsnRecords(startUsn_, mapping_.get());
        startUsn_ = read.nextUsn;
        if (mapping_ != nullptr) {
            mapping_->FlushPathMapping();
        }
        return std::move(read.records);
    }
    platform::Usn startUsn() const { return startUsn_; }
    void setStartUsn(platform::Usn usn) { startUsn_ = usn; }
    PathMapping* pathMapping() { return mapping_.get(); }
    void ReplacePathMapping(std::unique_ptr<PathMapping> mapping) { mapping_ = std::move(mapping); }

private:
    platform::Usn startUsn_ = 0;
    std::unique_ptr<PathMapping> mapping_;
};

class JournalRig {
public:
    JournalRig() {
        machine.volume().MakeDirectory(u"C:\\Sync");
        EXPECT_TRUE(database.InitSqLiteDb(u"D:\\Data\\ListenService.dat"));
        machine.faults().ClearHistory();
        files.openings.clear();
        log.Clear();
    }
    ~JournalRig() { EXPECT_THAT(machine.leaks(), ::testing::IsEmpty()); }
    JournalRig(const JournalRig&) = delete;
    JournalRig& operator=(const JournalRig&) = delete;

    std::unique_ptr<ReadJournal> MakeClosed(std::u16string listenPath = u"C:\\Sync") {
        return std::make_unique<ReadJournal>(platform, std::move(listenPath));
    }
    // Ready to read from the journal's end, with an empty path mapping.
    std::unique_ptr<ReadJournal> Make(std::u16string listenPath = u"C:\\Sync") {
        auto journal = MakeClosed(listenPath);
        EXPECT_TRUE(journal->CreateVolumeHandle());
        EXPECT_EQ(journal->QueryChangeJournal(), 1);
        EXPECT_TRUE(journal->AllocateReadBuffer());
        journal->setStartUsn(journal->journalData().nextUsn);
        journal->ReplacePathMapping(std::make_unique<PathMapping>(database, listenPath));
        return journal;
    }
    sim::NtfsVolume& volume() { return machine.volume(); }
    // With all missing parents.
    void MakeFile(std::u16string_view path, std::string_view contents = {}) {
        volume().MakeDirectory(path.substr(0, path.rfind(u'\\')));
        ASSERT_NE(volume().MakeFile(path, contents), 0U);
    }
    // Error lines as "tag/function/text".
    std::vector<std::string> Errors() const {
        std::vector<std::string> errors;
        for (const sim::LogLine& line : log.Lines()) {
            if (line.kind == sim::LogKind::kError) {
                errors.push_back(line.classTag + "/" + line.function + "/" + line.text);
            }
        }
        return errors;
    }
    // Every stored row of the path mapping, read past the product.
    std::vector<db::PathMappingEntry> Stored() {
        sqlite3* handle = nullptr;
        EXPECT_TRUE(database.OpenDb(handle));
        sqlite3_stmt* statement = nullptr;
        const char* sql =
            "SELECT fileReferenceNumber, parentFileReferenceNumber, deleted, fileName FROM pathMapping ORDER BY 1";
        EXPECT_EQ(real.sqlite.PrepareV2(handle, sql, -1, &statement), 0);
        std::vector<db::PathMappingEntry> rows;
        while (real.sqlite.Step(statement) == 100) {
            rows.push_back({static_cast<std::uint64_t>(real.sqlite.ColumnInt64(statement, 0)),
                            static_cast<std::uint64_t>(real.sqlite.ColumnInt64(statement, 1)),
                            real.sqlite.ColumnInt(statement, 2) != 0, real.sqlite.ColumnText16(statement, 3)});
        }
        real.sqlite.Finalize(statement);
        EXPECT_TRUE(database.CloseDb(handle));
        return rows;
    }

    sim::Machine machine;
    sim::CapturedLog log;
    platform::Platform real = machine.platform();
    SpyFiles files{machine};
    platform::Platform platform = test::PlatformWith(real, files);
    db::SqLite3Operator database{platform};
};

// The relative paths of a batch, in order.
inline std::vector<std::u16string> FileNames(const records::UsnRecordList& batch) {
    std::vector<std::u16string> names;
    for (const records::UsnRecord& record : batch) {
        names.push_back(record.filename);
    }
    return names;
}

}  // namespace tavi::journal::testing
