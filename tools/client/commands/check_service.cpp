#include "commands/findings.h"
#include "imports/digital_signature.h"
#include "imports/type_convert.h"
#include "machine/installed_service.h"
#include "platform/constants.h"
#include "platform/owned.h"
#include "platform/platform.h"
#include "tavi_client/conversation.h"
#include "tavi_client/reply.h"

namespace tavi::client {

namespace {

using OwnedService = platform::Owned<platform::ServiceHandle, platform::kNoServiceHandle>;

const std::u16string kServiceName = u"TaviLumbraService";

OwnedService Own(platform::Platform& platform, platform::ServiceHandle handle) {
    return {handle, [&platform](platform::ServiceHandle owned) { platform.services.CloseServiceHandle(owned); }};
}

std::string Code(std::uint32_t error) {
    return " (error " + std::to_string(error) + ")";
}

// The executable of a registered command line: quoted, or up to ".exe".
std::u16string ExecutableOf(const std::u16string& commandLine) {
    if (commandLine.starts_with(u'"')) {
        return commandLine.substr(1, commandLine.find(u'"', 1) - 1);
    }
    const std::size_t end = commandLine.find(u".exe");
    return end == std::u16string::npos ? commandLine : commandLine.substr(0, end + 4);
}

void DescribeInstallation(InstalledService& installed, Findings& findings) {
    const std::u16string path = ExecutableOf(installed.BinaryPath());
    const std::string version = installed.FileVersion(path);
    const std::string name = TypeConvert::UnicodeToUTF8(path);
    if (version.empty()) {
        findings.push_back({Verdict::kProblem,
                            "The service is installed, but its executable " + name + " is missing or no version of it",
                            "Put TaviLumbraService.exe there again, or uninstall and install it from where it is"});
    } else {
        findings.push_back({Verdict::kFine, "The service is installed: " + name + ", version " + version, {}});
    }
}

Finding DescribeState(const platform::ServiceStatus& status) {
    switch (status.currentState) {
        case platform::kServiceRunning:
            return {Verdict::kFine, "The service is running", {}};
        case platform::kServiceStartPending:
            return {Verdict::kProblem, "The service is starting", "Wait a moment and ask again"};
        case platform::kServiceStopPending:
            return {Verdict::kProblem, "The service is stopping",
                    "Wait a moment, then start it: sc start TaviLumbraService"};
        default:
            return {Verdict::kProblem,
                    "The service is not started (state " + std::to_string(status.currentState) + ", exit code " +
                        std::to_string(status.win32ExitCode) + ")",
                    "Start it from an administrator's prompt: sc start TaviLumbraService. If it stops again, "
                    "error.log and net.log say why"};
    }
}

Finding DescribeStatusReply(std::uint32_t status) {
    switch (status) {
        case kReplyNoTask:
            return {Verdict::kNote, "The service answers; no listening task is running",
                    "The sync client starts one when it runs; by hand: TaviListenClient start"};
        case kReplyJournalUnusable:
            return {Verdict::kProblem, "The service answers; its task's change journal cannot be used",
                    "Send the start request again: it repairs what can be repaired and answers how"};
        case kReplyJournalUsable:
            return {Verdict::kFine,
                    "The service answers; a listening task is running and its change journal can be used",
                    {}};
        default:
            return {Verdict::kProblem, "The service sent reply " + std::to_string(status) + ", which does not answer",
                    "Install client and service of the same version"};
    }
}

// What is the matter with this program's signature, asked as the service asks it.
std::string AdviceForTheRefused(platform::Platform& platform) {
    constexpr std::uint32_t kLongestPath = 32768;
    constexpr std::uint32_t kNoSignature = 0x800B0100;
    constexpr std::uint32_t kIncompleteChain = 0x800B010A;
    constexpr std::uint32_t kUntrustedRoot = 0x800B0109;
    const std::string serves = "It serves only programs with its publisher's signature. ";
    const auto result = DigitalSignature::VerifySignature(platform, platform.modules.GetModuleFileNameW(kLongestPath));
    if (!result) {
        return serves + "Check this one's (its properties, Digital Signatures) and install the signed one";
    }
    switch (static_cast<std::uint32_t>(*result)) {
        case 0:
            return serves +
                   "This one's verifies, so it is another publisher's, or the program is read-only, on the "
                   "network or behind a link: error.log says which";
        case kNoSignature:
            return serves + "This one has none: install the signed one";
        case kUntrustedRoot:
        case kIncompleteChain:
            return serves +
                   "This one's leads to a root certificate that this machine does not know, and the service "
                   "fetches none: put it among the computer's Trusted Root Certification Authorities";
        default:
            return serves + "This one's does not verify: install the program again";
    }
}

Finding DescribeAnswer(platform::Platform& platform, const Answer& answer, std::uint32_t seconds) {
    switch (answer.outcome) {
        case Outcome::kReplied:
            return DescribeStatusReply(answer.status);
        case Outcome::kNotThere:
            return {Verdict::kProblem, "The service runs, but its pipe is not there" + Code(answer.error),
                    "If it has just been started, ask again; otherwise net.log says why it could not create the pipe"};
        case Outcome::kDenied:
            return {Verdict::kProblem, "This user may not open the service's pipe" + Code(answer.error),
                    "The pipe is for users logged on at this machine, not for remote or service accounts: run the "
                    "client in a local session"};
        case Outcome::kTurnedAway:
            return {Verdict::kProblem,
                    "The service refuses this program: it closed the pipe without a reply" + Code(answer.error),
                    AdviceForTheRefused(platform)};
        case Outcome::kNoAnswer:
            return {Verdict::kProblem, "The service did not answer within " + std::to_string(seconds) + " seconds",
                    "It serves one client at a time: another may be holding the pipe. If it stays so, restart the "
                    "service"};
        default:
            return {Verdict::kProblem, "The conversation with the service broke down" + Code(answer.error),
                    "Ask again; if it stays so, restart the service"};
    }
}

}  // namespace

bool CheckService(const Surroundings& surroundings, Findings& findings) {
    platform::Platform& platform = *surroundings.platform;
    const OwnedService manager = Own(platform, platform.services.OpenSCManagerW(platform::kScManagerConnect));
    if (!manager) {
        findings.push_back({Verdict::kNote,
                            "The service control manager cannot be asked" + Code(platform.errors.GetLastError()),
                            "Run this as an administrator"});
        return true;
    }
    const OwnedService service =
        Own(platform, platform.services.OpenServiceW(manager.get(), kServiceName, platform::kServiceQueryStatus));
    if (!service) {
        const std::uint32_t error = platform.errors.GetLastError();
        if (error == platform::kErrorServiceDoesNotExist) {
            findings.push_back({Verdict::kProblem, "The service is not installed" + Code(error),
                                "From an administrator's prompt: TaviLumbraService.exe /install, then sc start "
                                "TaviLumbraService (install.ps1 of the package does both)"});
            return false;
        }
        findings.push_back(
            {Verdict::kNote, "The service cannot be asked for" + Code(error), "Run this as an administrator"});
        return true;
    }
    platform::ServiceStatus status;
    if (!platform.services.QueryServiceStatus(service.get(), status)) {
        findings.push_back({Verdict::kNote, "The service's state cannot be had" + Code(platform.errors.GetLastError()),
                            "Run this as an administrator"});
        return true;
    }
    DescribeInstallation(*surroundings.installedService, findings);
    findings.push_back(DescribeState(status));
    return status.currentState == platform::kServiceRunning;
}

bool CheckPipe(const DoctorOptions& options, const Surroundings& surroundings, Findings& findings) {
    const Answer answer = Ask(surroundings.pipe, BuildFrame(Command::kStatus), options.timeoutSeconds * 1000);
    findings.push_back(DescribeAnswer(*surroundings.platform, answer, options.timeoutSeconds));
    return answer.outcome == Outcome::kReplied && answer.status == kReplyJournalUsable;
}

}  // namespace tavi::client
