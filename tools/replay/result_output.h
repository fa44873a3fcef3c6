// Shows what each step made of a batch, as the steps run: as text (the label and the tabular dump, paths in clear) or
// as JSON, one line per batch:
// {"steps":[[label,[records...]]...],"final":[...],"delay":[...],"temporaryFiles":[...]}
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <ostream>

#include "records/step_pipeline.h"

namespace tavi::replay {

enum class Form { kText, kJson };

class ResultOutput : public records::PipelineObserver {
public:
    // The number of the batch and the line of the input that it began on, for a heading.
    virtual void Begin(std::uint64_t number, std::uint64_t line) = 0;
    virtual void End(const records::StepRecordList& result, const records::FileChangeInfoList& delay,
                     const records::TemporaryFileList& temporaryFiles) = 0;
};

std::unique_ptr<ResultOutput> MakeResultOutput(Form form, std::ostream& output);

}  // namespace tavi::replay
