// What `doctor` finds out, one check after another, each as words and what to do about it. A check that depends on one
// that failed is left out. One thread.
#pragma once

#include <string>
#include <vector>

#include "commands/commands.h"

namespace tavi::client {

enum class Verdict { kFine, kNote, kProblem };

struct Finding {
    Verdict verdict = Verdict::kFine;
    std::string text;    // a sentence without its point
    std::string advice;  // likewise; empty when there is nothing to do
};

using Findings = std::vector<Finding>;

// Each appends what it found and says whether checks that build on it make sense.
bool CheckService(const Surroundings& surroundings, Findings& findings);
// Whether a task is running.
bool CheckPipe(const DoctorOptions& options, const Surroundings& surroundings, Findings& findings);
bool CheckFolder(const DoctorOptions& options, const Surroundings& surroundings, Findings& findings);
void CheckJournal(const DoctorOptions& options, const Surroundings& surroundings, Findings& findings);
// Whether the stored position still lies in the journal belongs to it; with a task that runs it matters more.
void CheckDatabase(const DoctorOptions& options, bool taskRuns, const Surroundings& surroundings, Findings& findings);
void CheckLogs(const Surroundings& surroundings, Findings& findings);

}  // namespace tavi::client
