#include "step_ratios.h"

#include <utility>
#include <vector>

namespace tavi::bench {
namespace {

using namespace records;

constexpr std::size_t kMany = 100'000;
constexpr std::size_t kFew = 10'000;
const std::string kFloor = "names into a hash map";

}  // namespace

std::u16string Numbered(std::size_t number, std::u16string_view extension) {
    const std::string digits = std::to_string(number);
    return std::u16string(digits.begin(), digits.end()).append(extension);
}

PipelineBatch Changes(std::size_t count, const TemporaryFileRules& rules,
                      const std::function<FileChangeInfo(std::size_t)>& make) {
    PipelineBatch batch;
    for (std::size_t i = 0; i < count; ++i) {
        batch.changes.push_back(rules.ToStepRecord(make(i)));
    }
    return batch;
}

StepRatios::StepRatios(RatioTable& table, const TemporaryFileRules& rules)
    : table_(table), rules_(rules), ordinaryMany_(OrdinaryBatch(kMany)), ordinaryFew_(OrdinaryBatch(kFew)) {
    std::vector<std::u16string> names;
    for (const UsnRecord& record : ordinaryMany_) {
        names.push_back(record.filename);
    }
    table_.Measure(
        kFloor, [] { return 0; }, [names](int) { return InsertNames(names); });
}

void StepRatios::AddOrdinary(const std::string& step, std::size_t index) {
    Add(step + ", ordinary", index, BeforeStep(index, ordinaryMany_, rules_), BeforeStep(index, ordinaryFew_, rules_),
        1.5);
}

void StepRatios::AddHostile(const std::string& step, std::size_t index, const std::string& batch,
                            PipelineBatch (*make)(std::size_t count, const TemporaryFileRules& rules)) {
    Add(step + ", " + batch, index, make(kMany, rules_), make(kFew, rules_), 10);
}

void StepRatios::Add(const std::string& name, std::size_t index, const PipelineBatch& many, const PipelineBatch& few,
                     double bound) {
    const auto run = [&rules = rules_, index](PipelineBatch batch) {
        OwnedContext owned(rules, true);
        kPipeline[index].run(batch, owned.context);
        return batch;
    };
    table_.Measure(
        name, [many] { return many; }, run);
    table_.Measure(
        name + ", 10,000", [few] { return few; }, run);
    table_.AtMost(name, kFloor, bound);
    table_.AtMost(name, name + ", 10,000", 25);
}

}  // namespace tavi::bench
