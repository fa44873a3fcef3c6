#include <algorithm>
#include <ostream>

#include "change_lines.h"
#include "commands/findings.h"

namespace tavi::client {

namespace {

const char* LabelOf(Verdict verdict) {
    switch (verdict) {
        case Verdict::kFine:
            return "ok      ";
        case Verdict::kNote:
            return "note    ";
        default:
            return "PROBLEM ";
    }
}

const char* ColourOf(Verdict verdict) {
    switch (verdict) {
        case Verdict::kFine:
            return "\x1B[32m";
        case Verdict::kNote:
            return "\x1B[36m";
        default:
            return "\x1B[31m";
    }
}

void Print(const Finding& finding, const Surroundings& surroundings) {
    const bool coloured = surroundings.outIsTerminal;
    surroundings.out << (coloured ? ColourOf(finding.verdict) : "") << LabelOf(finding.verdict)
                     << (coloured ? "\x1B[0m" : "") << WithoutControls(finding.text) << ".\n";
    if (!finding.advice.empty()) {
        surroundings.out << "        -> " << WithoutControls(finding.advice) << ".\n";
    }
}

}  // namespace

int Doctor(const DoctorOptions& options, const Surroundings& surroundings) {
    Findings findings;
    const bool taskRuns = CheckService(surroundings, findings) && CheckPipe(options, surroundings, findings);
    if (CheckFolder(options, surroundings, findings)) {
        CheckJournal(options, surroundings, findings);
    }
    CheckDatabase(options, taskRuns, surroundings, findings);
    CheckLogs(surroundings, findings);
    for (const Finding& finding : findings) {
        Print(finding, surroundings);
    }
    const auto problems =
        std::ranges::count_if(findings, [](const Finding& finding) { return finding.verdict == Verdict::kProblem; });
    surroundings.out << (problems == 0   ? "Nothing is wrong.\n"
                         : problems == 1 ? "1 problem.\n"
                                         : std::to_string(problems) + " problems.\n");
    return problems == 0 ? kExitDone : kExitFailed;
}

}  // namespace tavi::client
