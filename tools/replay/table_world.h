// A StepWorld that answers from tables: which paths are placeholders, and what listing a directory finds. Made from the
// "env" of a recorded batch. Paths in the tables are relative to the listened folder. One thread.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "records/steps/step_world.h"

namespace tavi::replay {

struct TableEntry {
    std::u16string name;
    std::uint32_t attributes = 0;
    std::uint64_t frn = 0;
};

struct WorldTables {
    std::u16string listenPath;
    std::set<std::u16string> placeholders;
    std::map<std::u16string, std::vector<TableEntry>> tree;  // a directory's entries in the order of the listing
};

class TableWorld : public records::StepWorld {
public:
    explicit TableWorld(WorldTables tables);

    const std::u16string& ListenPath() const override { return tables_.listenPath; }
    bool IsPlaceholder(const std::u16string& relativePath) override;
    std::vector<std::u16string> ListAllEntries(const std::u16string& fullDirectoryPath) override;
    std::uint64_t GetFrnByPath(const std::u16string& fullPath) override;  // 0 for what no table has
    std::uint32_t AttributesOrAllOnes(const std::u16string& fullPath) override;

private:
    void AppendEntries(const std::u16string& directory, std::vector<std::u16string>& output) const;
    const TableEntry* Find(const std::u16string& fullPath) const;

    WorldTables tables_;
    std::unordered_map<std::u16string, const TableEntry*> entries_;  // by full path
};

}  // namespace tavi::replay
