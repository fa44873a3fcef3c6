// All the references in the order of the table of steps.
#include "unit/records/steps/reference/reference.h"

namespace tavi::reference {

Outcome RunAll(const UsnRecordList& batch, const FileChangeInfoList& delay, const World& world) {
    Outcome outcome;
    const auto note = [&outcome](const auto& list) { outcome.steps.emplace_back(list); };
    note(batch);
    UsnRecordList raw = FilterPlaceholders(batch);
    note(raw);
    raw = CorrectHiddenAttributes(raw);
    note(raw);
    FileChangeInfoList list = delay;
    const FileChangeInfoList converted = Convert(raw);
    list.insert(list.end(), converted.begin(), converted.end());
    note(list);
    list = FilterTemporaryFiles(list, world, outcome.temporaryFiles);
    note(list);
    list = MergeModifications(list);
    note(list);
    list = CheckSpecialDeletions(list);
    note(list);
    list = PairRenames(list, world);
    note(list);
    list = CheckSpecialRenames(list, outcome.delay);
    note(list);
    list = ResolveTemporaryRenames(list);
    note(list);
    list = MergeBatch(list);
    note(list);
    list = SplitMoves(list);
    note(list);
    return outcome;
}

}  // namespace tavi::reference
