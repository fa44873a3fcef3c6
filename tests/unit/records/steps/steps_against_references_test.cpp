// The steps and their references give the same lists on random small batches. The number of batches and the seed can
// be set: TAVI_RANDOM_BATCHES=1000000 TAVI_RANDOM_SEED=7 unit_records --gtest_filter=StepsAgainstReferences.*
#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <iostream>
#include <string>

#include "unit/records/steps/pipeline_run.h"
#include "unit/records/steps/random_batches.h"

namespace tavi::reference {
namespace {

std::uint64_t NumberFromEnvironment(const char* name, std::uint64_t otherwise) {
    const char* text = std::getenv(name);
    return text == nullptr ? otherwise : std::stoull(text);
}

// Which steps changed something, for a look at what the batches reach.
using ChangeCounts = std::array<std::uint64_t, records::kPipelineStepCount>;

void Count(const Outcome& outcome, ChangeCounts& counts) {
    for (std::size_t i = 1; i < outcome.steps.size(); ++i) {
        if (outcome.steps[i] != outcome.steps[i - 1]) {
            ++counts[i];
        }
    }
}

TEST(StepsAgainstReferences, GiveTheSameListsOnRandomBatches) {
    const std::uint64_t count = NumberFromEnvironment("TAVI_RANDOM_BATCHES", 30'000);
    const std::uint64_t seed = NumberFromEnvironment("TAVI_RANDOM_SEED", 20'240'517);
    std::cout << "seed " << seed << ", " << count << " batches\n";
    RandomBatches batches(seed);
    ChangeCounts changes{};
    for (std::uint64_t i = 0; i < count; ++i) {
        const replay::Batch batch = batches.Next();
        const Outcome expected = RunReference(batch);
        Count(expected, changes);
        if (Difference(RunProduct(batch), expected)) {
            const replay::Batch small = Shrink(batch);
            FAIL() << "batch " << i << " of seed " << seed << ", made smaller:\n"
                   << replay::FormatBatch(small) << '\n'
                   << *Difference(RunProduct(small), RunReference(small));
        }
    }
    for (std::size_t i = 1; i < changes.size(); ++i) {
        EXPECT_GT(changes[i], count / 100)
            << "the batches hardly reach step " << i << ": " << records::kPipeline[i].label;
    }
}

TEST(StepsAgainstReferences, ADifferenceIsNoticedAndMadeSmall) {
    RandomBatches batches(1);
    const replay::Batch batch = batches.Next();
    Outcome expected = RunReference(batch);
    expected.temporaryFiles.push_back({u"x", 0, 0});
    EXPECT_FALSE(Difference(RunProduct(batch), RunReference(batch)));
    EXPECT_TRUE(Difference(RunProduct(batch), expected));
    EXPECT_TRUE(Difference(RunProduct(batch, 5), RunReference(batch)));
}

}  // namespace
}  // namespace tavi::reference
