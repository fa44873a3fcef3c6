#include "imports/digital_signature.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "sim/machine.h"
#include "support/forwarding.h"
#include "support/platform_with.h"

namespace tavi::DigitalSignature {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

constexpr std::uint32_t kClient = 4711;
constexpr char16_t kImage[] = u"C:\\Apps\\Client\\client.exe";
constexpr char16_t kPublisher[] = u"The Publisher";

// Hands every call on; a test looks on while the signature is verified, or lets the image's path change.
class WatchedTrust final : public test::ForwardingTrust {
public:
    using ForwardingTrust::ForwardingTrust;

    platform::Handle OpenProcess(std::uint32_t access, std::uint32_t processId) override {
        askedAccess = access;
        return ForwardingTrust::OpenProcess(access, processId);
    }
    bool QueryFullProcessImageNameW(platform::Handle process, std::u16string& path) override {
        const bool done = ForwardingTrust::QueryFullProcessImageNameW(process, path);
        if (!alwaysPath.empty()) {
            path = alwaysPath;
        }
        if (++queries > 1 && !laterPath.empty()) {
            path = laterPath;
        }
        return done;
    }
    std::int32_t WinVerifyTrust(const platform::TrustQuestion& question, platform::TrustState& state) override {
        asked = question;
        if (whileVerifying) {
            whileVerifying(question.file);
        }
        return ForwardingTrust::WinVerifyTrust(question, state);
    }
    std::function<void(platform::Handle)> whileVerifying;
    std::u16string alwaysPath;
    std::u16string laterPath;
    int queries = 0;
    std::uint32_t askedAccess = 0;
    platform::TrustQuestion asked;
};

constexpr platform::FileTime kConnectedAt = 5000;

// A machine with one client process, whose executable is signed by the publisher.
struct ClientMachine {
    ClientMachine() {
        machine.volume().MakeDirectory(u"C:\\Apps\\Client");
        machine.volume().MakeFile(kImage, "a program");
        machine.trust().AddProcess(kClient, kImage);
        machine.trust().SetSignature(kImage, 0, kPublisher);
    }

    platform::Platform Platform() {
        platform::Platform parts = machine.platform();
        return test::PlatformWith(parts, trust);
    }
    // As the channel does it. What must not be cancelled is done outside of the calls that may be.
    bool Check(platform::OwnedHandle& held, std::u16string_view publisher = kPublisher) {
        platform::Platform platform = Platform();
        ClientCheck check(platform, std::u16string(publisher), [this](const std::function<bool()>& calls) {
            const std::size_t linesBefore = log.Lines().size();
            const bool result = calls();
            EXPECT_EQ(log.Lines().size(), linesBefore);
            ++blockingRuns;
            return result;
        });
        return check.IsValidClient({.processId = kClient, .acceptedAt = kConnectedAt}, held);
    }
    bool Check(std::u16string_view publisher = kPublisher) {
        platform::OwnedHandle held;
        return Check(held, publisher);
    }
    // What the one line of a refusal says; a failure when there is another number of lines.
    std::string Reason() const {
        const std::vector<sim::LogLine> lines = log.Lines();
        EXPECT_EQ(lines.size(), 1u) << log.Dump();
        if (lines.size() != 1) {
            return {};
        }
        EXPECT_EQ(lines[0].kind, sim::LogKind::kError);
        EXPECT_EQ(lines[0].classTag, "DigitalSignature");
        EXPECT_EQ(lines[0].function, "IsValidClient");
        EXPECT_THAT(lines[0].text, testing::StartsWith("Refused the client process 4711: "));
        return lines[0].text;
    }

    sim::Machine machine;
    sim::CapturedLog log;
    int blockingRuns = 0;
    WatchedTrust trust{machine.trust()};
};

TEST(IsValidClient, AClientSignedByThePublisherIsAccepted) {
    ClientMachine client;
    EXPECT_TRUE(client.Check());
    EXPECT_EQ(client.blockingRuns, 1);
    EXPECT_THAT(client.log.Lines(), IsEmpty());
    EXPECT_THAT(client.machine.leaks(), IsEmpty());
}

TEST(IsValidClient, AnAcceptedClientIsHandedBackHeld) {
    ClientMachine client;
    {
        platform::OwnedHandle held;
        ASSERT_TRUE(client.Check(held));
        EXPECT_TRUE(held.IsValid());
        EXPECT_THAT(client.machine.leaks(), testing::ElementsAre(HasSubstr("process 4711")));
    }
    EXPECT_THAT(client.machine.leaks(), IsEmpty());
}

TEST(IsValidClient, ARefusedClientIsNotHeld) {
    ClientMachine client;
    platform::OwnedHandle held;
    ASSERT_TRUE(client.Check(held));
    EXPECT_FALSE(client.Check(held, u"Another"));
    EXPECT_FALSE(held.IsValid());
    EXPECT_THAT(client.machine.leaks(), IsEmpty());
}

TEST(IsValidClient, TheProcessIsOpenedBeforeAnythingElseAndForNoMoreThanNeeded) {
    ClientMachine client;
    client.machine.faults().ClearHistory();
    ASSERT_TRUE(client.Check());
    EXPECT_EQ(client.machine.faults().history().front(), "Trust.OpenProcess");
    EXPECT_EQ(client.trust.askedAccess, platform::kProcessQueryLimitedInformation);
    EXPECT_EQ(client.machine.faults().calls("Trust.OpenProcess"), 1u);
}

TEST(IsValidClient, TheLongPathFormOfAnImageIsAccepted) {
    ClientMachine client;
    client.machine.trust().AddProcess(kClient, u"\\\\?\\" + std::u16string(kImage));
    EXPECT_TRUE(client.Check()) << client.log.Dump();
}

TEST(IsValidClient, NobodyCanWriteOrDeleteTheFileWhileItIsChecked) {
    ClientMachine client;
    platform::Platform platform = client.Platform();
    int looked = 0;
    client.trust.whileVerifying = [&](platform::Handle file) {
        ++looked;
        platform::FileInformation information;
        EXPECT_TRUE(platform.files.GetFileInformationByHandle(file, information));
        EXPECT_EQ(information.fileIndex, client.machine.volume().Find(kImage));
        for (const std::uint32_t access : {platform::kGenericWrite, platform::kDelete}) {
            const platform::Handle other =
                platform.files.CreateFileW(kImage, access, 7, platform::kOpenExisting, platform::kFileAttributeNormal);
            EXPECT_EQ(other, platform::kInvalidHandle);
            EXPECT_EQ(platform.errors.GetLastError(), platform::kErrorSharingViolation);
        }
    };
    EXPECT_TRUE(client.Check());
    EXPECT_EQ(looked, 1);
}

TEST(IsValidClient, AFileThatDoesNotRunIsRefusedWhateverItsSignature) {
    ClientMachine client;
    // The process has another image, whose path now leads to a file with the publisher's signature.
    client.machine.trust().AddProcess(kClient, u"C:\\Apps\\Client\\renamed.exe");
    client.machine.volume().MakeFile(u"C:\\Apps\\Client\\exchanged.exe");
    client.machine.trust().SetSignature(u"C:\\Apps\\Client\\exchanged.exe", 0, kPublisher);
    client.trust.alwaysPath = u"C:\\Apps\\Client\\exchanged.exe";
    EXPECT_FALSE(client.Check());
    EXPECT_THAT(client.Reason(), HasSubstr("the file in its executable's place is not the one that runs"));
    EXPECT_THAT(client.machine.leaks(), IsEmpty());
}

TEST(IsValidClient, AFileThatSomebodyHasOpenToDeleteIsRefused) {
    ClientMachine client;
    platform::Platform platform = client.Platform();
    const platform::OwnedHandle deleter(
        platform.files, platform.files.CreateFileW(kImage, platform::kDelete, 7, platform::kOpenExisting,
                                                   platform::kFileAttributeNormal));
    ASSERT_TRUE(deleter.IsValid());
    EXPECT_FALSE(client.Check());
    EXPECT_THAT(client.Reason(), HasSubstr("failed to open its executable, error code is 32"));
}

TEST(IsValidClient, WhateverIsWrongWithAClientIsARefusalWithItsReason) {
    struct Row {
        const char* name;
        std::function<void(ClientMachine&)> arrange;
        const char* reason;
    };
    const auto sign = [](std::int64_t result, std::optional<std::u16string> signer) {
        return [=](ClientMachine& client) {
            client.machine.trust().SetSignature(kImage, static_cast<std::int32_t>(result), signer);
        };
    };
    const auto image = [](std::u16string path) {
        return [path](ClientMachine& client) {
            client.machine.trust().AddProcess(kClient, path);
            client.machine.trust().SetSignature(path, 0, kPublisher);
        };
    };
    const auto link = [](std::u16string path) {
        return [path](ClientMachine& client) {
            // The volume has no links; a placeholder is what else carries their attribute.
            ASSERT_TRUE(client.machine.volume().SetPlaceholder(path, true));
        };
    };
    const auto later = [](std::u16string path) {
        return [path](ClientMachine& client) { client.trust.laterPath = path; };
    };
    const std::vector<Row> rows = {
        {"ended", [](ClientMachine& client) { client.machine.trust().RemoveProcess(kClient); },
         "failed to open it, error code is 87"},
        {"unsigned", sign(0x800B0100, std::nullopt), "does not verify, result is 0x800B0100"},
        {"tampered", sign(0x80096010, kPublisher), "does not verify, result is 0x80096010"},
        {"untrusted root", sign(0x800B0109, kPublisher), "does not verify, result is 0x800B0109"},
        {"a positive result", sign(1, kPublisher), "does not verify, result is 0x00000001"},
        {"no name", sign(0, std::nullopt), "has no readable common name"},
        {"another publisher", sign(0, u"Another Publisher"), "signed by another publisher: Another Publisher"},
        {"our name and more", sign(0, u"The Publisher Ltd"), "signed by another publisher: The Publisher Ltd"},
        {"more and our name", sign(0, u"Not The Publisher"), "signed by another publisher: Not The Publisher"},
        {"other case", sign(0, u"the publisher"), "signed by another publisher: the publisher"},
        {"a zero inside", sign(0, std::u16string(u"The Publisher\0", 14)), "signed by another publisher"},
        {"an empty name", sign(0, u""), "has no readable common name"},
        {"share", image(u"\\\\server\\share\\client.exe"), "not on a drive of this machine: \\\\server"},
        {"long share", image(u"\\\\?\\UNC\\server\\share\\client.exe"), "not on a drive of this machine"},
        {"device", image(u"\\\\.\\C:\\client.exe"), "not on a drive of this machine"},
        {"native path", image(u"\\Device\\HarddiskVolume1\\client.exe"), "not on a drive of this machine"},
        {"volume path", image(u"\\\\?\\Volume{0}\\client.exe"), "not on a drive of this machine"},
        {"relative", image(u"client.exe"), "not on a drive of this machine"},
        {"drive relative", image(u"C:client.exe"), "not on a drive of this machine"},
        {"no file", image(u"C:\\"), "not on a drive of this machine"},
        {"nothing", image(u""), "not on a drive of this machine"},
        {"file gone", [](ClientMachine& client) { client.machine.volume().Remove(kImage); },
         "failed to read attributes on the way to its executable, error code is 2"},
        {"a linked folder", link(u"C:\\Apps"), "a link leads to its executable: C:\\Apps"},
        {"a linked inner folder", link(u"C:\\Apps\\Client"), "a link leads to its executable: C:\\Apps\\Client"},
        {"a linked file", link(kImage), "a link leads to its executable: C:\\Apps\\Client\\client.exe"},
        {"renamed away", later(u"C:\\Apps\\Client\\old.exe"), "was exchanged while it was checked"},
        {"moved to the network", later(u"\\\\server\\share\\client.exe"), "not on a drive of this machine"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        ClientMachine client;
        row.arrange(client);
        EXPECT_FALSE(client.Check());
        EXPECT_THAT(client.Reason(), HasSubstr(row.reason));
        EXPECT_THAT(client.machine.leaks(), IsEmpty());
    }
}

TEST(IsValidClient, WithoutAPublisherNobodyIsAccepted) {
    for (const auto& [signer, reason] :
         {std::pair{u"", "has no readable common name"}, std::pair{u"The Publisher", "signed by another publisher"}}) {
        ClientMachine client;
        client.machine.trust().SetSignature(kImage, 0, signer);
        EXPECT_FALSE(client.Check(u""));
        EXPECT_THAT(client.Reason(), HasSubstr(reason));
    }
}

TEST(IsValidClient, ACallThatFailsIsARefusalWhicheverItIs) {
    for (const bool forEver : {false, true}) {
        std::uint64_t nth = 1;
        for (;; ++nth) {
            ClientMachine client;
            client.machine.faults().Fail({.nth = nth, .forEver = forEver});
            const bool accepted = client.Check();
            if (client.machine.faults().fired() == 0) {
                EXPECT_TRUE(accepted);
                break;
            }
            SCOPED_TRACE(client.machine.faults().lastFired() + (forEver ? " for ever" : " once"));
            EXPECT_THAT(client.machine.leaks(), IsEmpty());
            EXPECT_FALSE(accepted);
            EXPECT_FALSE(client.Reason().empty());
        }
        EXPECT_GT(nth, 10u);
    }
}

// Whichever call fails, with its usual code or with the one that says that a file runs.
TEST(IsValidClient, NoFailureGetsSomebodyAcceptedWhoWouldBeRefused) {
    const std::vector<std::function<void(ClientMachine&)>> impostors = {
        [](ClientMachine& client) { client.machine.trust().SetSignature(kImage, -1, kPublisher); },
        [](ClientMachine& client) { client.machine.trust().SetSignature(kImage, 0, std::nullopt); },
        [](ClientMachine& client) { client.machine.trust().SetSignature(kImage, 0, u"Another"); },
        [](ClientMachine& client) { client.machine.trust().AddProcess(kClient, kImage, kConnectedAt + 1); },
        [](ClientMachine& client) { client.machine.trust().RemoveProcess(kClient); },
        [](ClientMachine& client) { client.machine.volume().SetPlaceholder(u"C:\\Apps", true); },
        [](ClientMachine& client) { client.trust.laterPath = u"C:\\Apps\\old.exe"; },
    };
    for (std::size_t impostor = 0; impostor < impostors.size(); ++impostor) {
        for (const std::uint32_t code : {0u, platform::kErrorSharingViolation}) {
            for (const bool forEver : {false, true}) {
                for (std::uint64_t nth = 1;; ++nth) {
                    ClientMachine client;
                    impostors[impostor](client);
                    client.machine.faults().Fail({.nth = nth, .forEver = forEver, .code = code});
                    ASSERT_FALSE(client.Check()) << "impostor " << impostor << ", call " << nth << ", code " << code;
                    EXPECT_THAT(client.machine.leaks(), IsEmpty());
                    if (client.machine.faults().fired() == 0) {
                        break;
                    }
                }
            }
        }
    }
}

TEST(IsValidClient, AnOpeningThatIsCancelledIsARefusalWhicheverItIs) {
    const char* const reasons[] = {"whether its executable is in use could not be seen, error code is 995",
                                   "failed to open its executable, error code is 995"};
    std::uint64_t nth = 1;
    for (const char* reason : reasons) {
        ClientMachine client;
        client.machine.faults().Fail({.call = "Files.CreateFileW", .nth = nth, .code = 995});
        EXPECT_FALSE(client.Check());
        EXPECT_THAT(client.Reason(), HasSubstr(reason));
        EXPECT_EQ(client.machine.faults().calls("Files.CreateFileW"), nth) << "nothing more is asked";
        EXPECT_THAT(client.machine.leaks(), IsEmpty());
        ++nth;
    }
}

TEST(IsValidClient, AProcessThatWasStartedAfterItsConnectionIsRefused) {
    for (const auto& [startedAt, accepted] : {std::pair{kConnectedAt, true}, std::pair{kConnectedAt + 1, false}}) {
        ClientMachine client;
        client.machine.trust().AddProcess(kClient, kImage, startedAt);
        EXPECT_EQ(client.Check(), accepted);
        if (!accepted) {
            EXPECT_THAT(client.Reason(), HasSubstr("it was started after it connected"));
            EXPECT_EQ(client.machine.faults().calls("Trust.QueryFullProcessImageNameW"), 0u) << "nothing more is asked";
        }
        EXPECT_THAT(client.machine.leaks(), IsEmpty());
    }
}

TEST(IsValidClient, NothingIsOpenedBeforeEveryFolderIsSeenToBeNoLink) {
    for (const std::u16string link : {u"C:\\Apps", u"C:\\Apps\\Client", kImage}) {
        ClientMachine client;
        ASSERT_TRUE(client.machine.volume().SetPlaceholder(link, true));
        EXPECT_FALSE(client.Check());
        EXPECT_EQ(client.machine.faults().calls("Files.CreateFileW"), 0u);
    }
}

// Nothing but a sharing violation says that the file runs.
TEST(IsValidClient, AnExecutableThatCannotBeWrittenForAnotherReasonIsRefused) {
    for (const std::uint32_t code : {2u, 5u, 19u, 33u, 1224u}) {
        ClientMachine client;
        client.machine.faults().Fail({.call = "Files.CreateFileW", .code = code});
        EXPECT_FALSE(client.Check());
        EXPECT_THAT(client.Reason(), HasSubstr("whether its executable is in use could not be seen, error code is " +
                                               std::to_string(code)));
        EXPECT_EQ(client.machine.faults().calls("Files.CreateFileW"), 1u) << "nothing more is opened";
    }
}

TEST(IsValidClient, AnExecutableInADrivesRootIsAccepted) {
    constexpr char16_t kInRoot[] = u"C:\\c";
    ClientMachine client;
    client.machine.volume().MakeFile(kInRoot);
    client.machine.trust().AddProcess(kClient, kInRoot);
    client.machine.trust().SetSignature(kInRoot, 0, kPublisher);
    EXPECT_TRUE(client.Check()) << client.log.Dump();
    EXPECT_EQ(client.machine.faults().calls("Paths.GetFileAttributesW") +
                  client.machine.faults().calls("Files.GetFileAttributesW"),
              1u)
        << "the file's own";
}

TEST(IsValidClient, TheSignatureIsThatOfTheFileAndNotOfItsPath) {
    ClientMachine client;
    client.machine.volume().MakeFile(u"C:\\Apps\\unsigned.exe");
    ASSERT_TRUE(client.machine.volume().Rename(kImage, u"C:\\Apps\\signed.exe"));
    ASSERT_TRUE(client.machine.volume().Rename(u"C:\\Apps\\unsigned.exe", kImage));
    EXPECT_FALSE(client.Check());
    EXPECT_THAT(client.Reason(), HasSubstr("does not verify, result is 0x800B0100"));
}

TEST(IsValidClient, TheSignatureIsVerifiedWithoutTheNetwork) {
    ClientMachine client;
    EXPECT_TRUE(client.Check());
    EXPECT_EQ(client.trust.asked.revocationChecks, platform::kWtdRevokeNone);
    EXPECT_EQ(client.trust.asked.providerFlags,
              platform::kWtdRevocationCheckNone | platform::kWtdCacheOnlyUrlRetrieval);
    EXPECT_TRUE(client.trust.asked.path == kImage);
}

TEST(IsValidClient, TheReasonOfTheSystemIsLogged) {
    ClientMachine client;
    client.machine.faults().Fail({.call = "Trust.OpenProcess"});
    client.machine.errors().SetText(platform::kErrorAccessDenied, u"Access is denied.\r\n");
    EXPECT_FALSE(client.Check());
    EXPECT_EQ(client.Reason(),
              "Refused the client process 4711: failed to open it, error code is 5,reason:Access is denied.");
}

}  // namespace
}  // namespace tavi::DigitalSignature
