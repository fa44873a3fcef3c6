// The undisturbed life: the same cycle over the same journal from the same beginning, with nobody interrupting it.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "lives/stretch.h"
#include "lives/world.h"
#include "records/model/change_record.h"

namespace tavi::lives {

// A step of the pipeline and its result, for finding out which rule drops a path. Before the conversion a record
// has only its path and numbers, and the journal's reasons in place of its attributes.
struct StepTrace {
    std::string label;
    records::FileChangeInfoList list;
};

using Batches = std::vector<std::vector<StepTrace>>;

struct Reference {
    // Contents of the database for every position of a record inside the folder that it was stored for: the first
    // record not yet dealt with, or kEnd behind the last one.
    static constexpr std::int64_t kEnd = -1;
    std::map<std::int64_t, std::set<std::string>> states;
    std::map<std::int64_t, std::set<std::string>> statesWithoutOldNumbers;
    bool heldOneNameTwice = false;
    Batches batches;
    bool ran = false;

    static std::int64_t Normalise(const std::vector<std::int64_t>& inside, std::int64_t position);
};

// From the stretch's beginning until the position `until`; `number` makes the file's name.
Reference RunReference(World& world, const Stretch& stretch, std::int64_t until, std::uint32_t intervalSeconds,
                       const std::vector<std::int64_t>& inside, std::size_t number);

// The steps alone, over the records with the paths of their own moments. Where directories move, the service saw paths
// of a time between these and those of the undisturbed life.
Batches TraceAsItHappened(const Truth& truth, const Stretch& stretch, std::uint32_t intervalSeconds);

}  // namespace tavi::lives
