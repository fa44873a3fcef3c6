#include "replay/result_output.h"

#include <string>
#include <string_view>
#include <vector>

#include "imports/type_convert.h"
#include "records/dumps/record_dumps.h"
#include "replay/json_output.h"

namespace tavi::replay {
namespace {

using records::DumpPaths;

class TextResult : public ResultOutput {
public:
    explicit TextResult(std::ostream& output) : output_(output) {}

    void Begin(const std::string& heading) override { output_ << heading << "\n\n"; }
    void OnUsnRecords(std::string_view label, const records::UsnRecordList& list) override {
        output_ << label << '\n' << records::FormatUsnRecords(list, DumpPaths::kClear) << '\n';
    }
    void OnChanges(std::string_view label, const records::StepRecordList& list) override {
        output_ << label << '\n' << records::FormatFileChangeRecords(list, DumpPaths::kClear) << '\n';
    }
    void End(const records::FileChangeInfoList&, const records::FileChangeInfoList& delay,
             const records::TemporaryFileList& temporaryFiles) override {
        output_ << "Held back for a later batch\n"
                << records::FormatFileChangeRecords(delay, DumpPaths::kClear) << "\nTemporary files\n";
        for (const records::TemporaryFile& file : temporaryFiles) {
            output_ << TypeConvert::UnicodeToUTF8(file.filePath) << '\t' << file.fileAttributes << '\t' << file.isHandle
                    << '\n';
        }
        output_ << '\n';
    }

private:
    std::ostream& output_;
};

class JsonResult : public ResultOutput {
public:
    explicit JsonResult(std::ostream& output) : output_(output), json_(text_) {}

    void Begin(const std::string&) override {
        json_.Append("{\"steps\":[");
        isFirstStep_ = true;
    }
    void OnUsnRecords(std::string_view label, const records::UsnRecordList& list) override { AppendStep(label, list); }
    void OnChanges(std::string_view label, const records::StepRecordList& list) override { AppendStep(label, list); }
    void End(const records::FileChangeInfoList& result, const records::FileChangeInfoList& delay,
             const records::TemporaryFileList& temporaryFiles) override {
        json_.Append("],\"final\":");
        json_.AppendList(result);
        json_.Append(",\"delay\":");
        json_.AppendList(delay);
        json_.Append(",\"temporaryFiles\":");
        json_.AppendList(temporaryFiles);
        json_.Append("}\n");
        Flush();
    }

private:
    template <typename Record>
    void AppendStep(std::string_view label, const std::vector<Record>& list) {
        json_.Append(isFirstStep_ ? "[" : ",[");
        isFirstStep_ = false;
        json_.AppendString(std::string(label));
        json_.Append(",");
        json_.AppendList(list);
        json_.Append("]");
        Flush();
    }
    void Flush() {
        output_ << text_;
        text_.clear();
    }

    std::ostream& output_;
    std::string text_;
    JsonOutput json_;
    bool isFirstStep_ = true;
};

}  // namespace

std::unique_ptr<ResultOutput> MakeResultOutput(Form form, std::ostream& output) {
    if (form == Form::kJson) {
        return std::make_unique<JsonResult>(output);
    }
    return std::make_unique<TextResult>(output);
}

}  // namespace tavi::replay
