// Shows what each step made of a batch, as the steps run: as text (the label and the tabular dump, paths in clear) or
// as JSON, one line per batch:
// {"steps":[[label,[records...]]...],"final":[...],"delay":[...],"temporaryFiles":[...]}
#pragma once

#include <memory>
#include <ostream>
#include <string>

#include "records/steps/step_pipeline.h"

namespace tavi::replay {

enum class Form { kText, kJson };

class ResultOutput : public records::PipelineObserver {
public:
    virtual void Begin(const std::string& heading) = 0;  // JSON has none
    virtual void End(const records::FileChangeInfoList& result, const records::FileChangeInfoList& delay,
                     const records::TemporaryFileList& temporaryFiles) = 0;
};

std::unique_ptr<ResultOutput> MakeResultOutput(Form form, std::ostream& output);

}  // namespace tavi::replay
