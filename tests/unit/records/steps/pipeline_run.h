// Runs the product's steps on a batch and keeps every step's list, in the shape of the references' outcome, so that
// the two can be compared. The table world of the replay tool answers for the machine.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "records/steps/step_pipeline.h"
#include "replay/batch_json.h"
#include "unit/records/steps/reference/reference.h"

namespace tavi::reference {

Outcome RunProduct(const replay::Batch& batch, std::size_t stepCount = records::kPipelineStepCount);
Outcome RunReference(const replay::Batch& batch);

// What differs first; nothing when the outcomes are the same.
std::optional<std::string> Difference(const Outcome& product, const Outcome& expected);

// The batch with records taken away as long as the two still differ.
replay::Batch Shrink(replay::Batch batch);

}  // namespace tavi::reference
