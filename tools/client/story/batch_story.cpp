#include "story/batch_story.h"

#include <algorithm>
#include <iterator>
#include <map>

#include "imports/path_helper.h"
#include "imports/type_convert.h"
#include "records/names/lower_case.h"

namespace tavi::client {

namespace {

using RecordList = std::vector<LoggedRecord>;

std::string Lower(std::string_view text) {
    return TypeConvert::UnicodeToUTF8(records::ToLower(TypeConvert::UTF8ToUnicode(text)));
}

class Selection {
public:
    Selection(const LoggedBatch& batch, const StorySubject& subject) : subject_(subject) {
        if (subject.frn) {
            frns_.insert(*subject.frn);
            return;
        }
        for (const RecordList& list : batch.steps) {
            for (const LoggedRecord& record : list) {
                if (IsNamed(record)) {
                    frns_.insert(record.frn);
                }
            }
        }
    }

    RecordList From(const RecordList& list) const {
        RecordList selected;
        std::ranges::copy_if(list, std::back_inserter(selected),
                             [this](const LoggedRecord& record) { return frns_.contains(record.frn); });
        return selected;
    }

    const std::set<std::string>& frns() const { return frns_; }

private:
    bool IsNamed(const LoggedRecord& record) const {
        return !subject_.obscuredName.empty() &&
               (Lower(record.name) == subject_.obscuredName || Lower(record.originalName) == subject_.obscuredName);
    }

    const StorySubject& subject_;
    std::set<std::string> frns_;
};

// What is in `from` and not in `without`, counting equal records.
RecordList Difference(const RecordList& from, const RecordList& without) {
    std::map<std::string, std::size_t> counts;
    for (const LoggedRecord& record : without) {
        ++counts[record.key];
    }
    RecordList rest;
    for (const LoggedRecord& record : from) {
        if (std::size_t& count = counts[record.key]; count != 0) {
            --count;
        } else {
            rest.push_back(record);
        }
    }
    return rest;
}

std::string Words(const LoggedRecord& record) {
    std::string words = record.what + "  " + record.name;
    return record.originalName.empty() ? words : words + "  (was " + record.originalName + ")";
}

std::string Count(std::size_t count) {
    return count == 1 ? "1 record" : std::to_string(count) + " records";
}

class Teller {
public:
    Teller(const LoggedBatch& batch, const Selection& selection) : batch_(batch), selection_(selection) {}

    BatchStory Tell() {
        story_.frns = selection_.frns();
        story_.lines.push_back("Batch of " + batch_.time + (batch_.readAgain ? ", read again later" : ""));
        TellRead();
        for (std::size_t step = 1; step < records::kPipelineStepCount; ++step) {
            TellStep(step);
        }
        TellKept();
        TellEnd();
        return std::move(story_);
    }

private:
    void Line(const std::string& text) { story_.lines.push_back("  " + text); }

    void Entry(std::size_t step, std::string_view verb) {
        TellKept();
        Line("step " + std::to_string(step) + " " + std::string(verb) + ": " + std::string(PurposeOfStep(step)));
    }

    void List(std::string_view sign, const RecordList& list) {
        for (const LoggedRecord& record : list) {
            Line("    " + std::string(sign) + " " + Words(record));
        }
    }

    void TellRead() {
        current_ = selection_.From(batch_.steps[0]);
        if (!current_.empty()) {
            Line("read from the journal: " + Count(current_.size()));
            List(" ", current_);
        }
    }

    void TellStep(std::size_t step) {
        const RecordList after = selection_.From(batch_.steps[step]);
        const RecordList gone = Difference(current_, after);
        const RecordList come = Difference(after, current_);
        if (step == records::ConversionStep()) {
            TellConversion(after);
        } else if (!gone.empty() || !come.empty()) {
            Entry(step, come.empty() ? "dropped" : gone.empty() ? "added" : "changed");
            List("-", gone);
            List("+", come);
        } else if (!current_.empty()) {
            kept_.push_back(step);
        }
        if (after.empty() && !current_.empty()) {
            droppedBy_ = step;
        }
        current_ = after;
    }

    void TellConversion(const RecordList& after) {
        if (current_.empty() && after.empty()) {
            return;
        }
        Entry(records::ConversionStep(), after.empty()      ? "dropped"
                                         : current_.empty() ? "took up what was held back"
                                                            : "converted");
        List("+", after);
    }

    void TellKept() {
        if (kept_.empty()) {
            return;
        }
        std::string steps;
        for (const std::size_t step : kept_) {
            steps += (steps.empty() ? "" : ", ") + std::to_string(step);
        }
        Line((kept_.size() == 1 ? "step " : "steps ") + steps + " kept");
        kept_.clear();
    }

    void TellEnd() {
        const RecordList stored = selection_.From(batch_.steps[kStoredStep]);
        if (batch_.readAgain) {
            Line("=> not stored: the service stopped or could not write; it read the batch again");
        } else if (!stored.empty()) {
            Line("=> stored as " + std::string(stored.size() == 1 ? "1 change:" : "these changes:"));
            List(" ", stored);
        } else if (droppedBy_ != 0) {
            Line("=> nothing stored: step " + std::to_string(droppedBy_) + ", \"" +
                 std::string(records::kPipeline[droppedBy_].label) + "\", dropped the last of it");
        } else {
            Line("=> nothing stored");
        }
    }

    const LoggedBatch& batch_;
    const Selection& selection_;
    BatchStory story_;
    RecordList current_;             // after the step told of last
    std::vector<std::size_t> kept_;  // steps that changed nothing and are not told of yet
    std::size_t droppedBy_ = 0;
};

}  // namespace

std::string_view PurposeOfStep(std::size_t step) {
    return step < records::kPipeline.size() ? records::kPipeline[step].purpose : std::string_view{};
}

std::string ObscuredName(std::string_view path) {
    return Lower(TypeConvert::UnicodeToUTF8(PathHelper::FuzzyFilePath(TypeConvert::UTF8ToUnicode(path))));
}

std::optional<BatchStory> TellStory(const LoggedBatch& batch, const StorySubject& subject) {
    const Selection selection(batch, subject);
    const bool concerned =
        std::ranges::any_of(batch.steps, [&](const RecordList& list) { return !selection.From(list).empty(); });
    return concerned ? std::optional(Teller(batch, selection).Tell()) : std::nullopt;
}

}  // namespace tavi::client
