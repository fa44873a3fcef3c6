// Measures single steps of the pipeline on batches of 100,000 records: against one pass that inserts every name of the
// ordinary batch into a hash map (at most 1.5 times that on ordinary batches, 10 times on hostile ones), and against
// themselves on 10,000 records.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

#include "batches.h"
#include "ratio_table.h"

namespace tavi::bench {

std::u16string Numbered(std::size_t number, std::u16string_view extension);

// A batch behind the conversion, record by record.
records::PipelineBatch Changes(std::size_t count, const records::TemporaryFileRules& rules,
                               const std::function<records::FileChangeInfo(std::size_t)>& make);

class StepRatios {
public:
    StepRatios(RatioTable& table, const records::TemporaryFileRules& rules);

    // The step on the ordinary batch, as the steps before it leave it.
    void AddOrdinary(const std::string& step, std::size_t index);
    // The step on a batch that is made to be hard on it.
    void AddHostile(const std::string& step, std::size_t index, const std::string& batch,
                    records::PipelineBatch (*make)(std::size_t count, const records::TemporaryFileRules& rules));

private:
    void Add(const std::string& name, std::size_t index, const records::PipelineBatch& many,
             const records::PipelineBatch& few, double bound);

    RatioTable& table_;
    const records::TemporaryFileRules& rules_;
    records::UsnRecordList ordinaryMany_;
    records::UsnRecordList ordinaryFew_;
};

}  // namespace tavi::bench
