#include "replay/table_world.h"

#include <cstddef>
#include <utility>

#include "platform/constants.h"

namespace tavi::replay {
namespace {

std::u16string Join(std::u16string_view directory, std::u16string_view name) {
    std::u16string path(directory);
    if (!path.empty() && path.back() != u'\\') {
        path += u'\\';
    }
    return path += name;
}

}  // namespace

TableWorld::TableWorld(WorldTables tables) : tables_(std::move(tables)) {
    for (const auto& [directory, entries] : tables_.tree) {
        for (const TableEntry& entry : entries) {
            entries_.emplace(tables_.listenPath + u"\\" + Join(directory, entry.name), &entry);
        }
    }
}

bool TableWorld::IsPlaceholder(const std::u16string& relativePath) {
    return tables_.placeholders.contains(relativePath);
}

std::vector<std::u16string> TableWorld::ListAllEntries(const std::u16string& fullDirectoryPath) {
    std::vector<std::u16string> output;
    const std::u16string root = tables_.listenPath + u"\\";
    if (fullDirectoryPath.starts_with(root)) {
        AppendEntries(fullDirectoryPath.substr(root.size()), output);
    }
    return output;
}

// Each directory's content follows it at once. The pending levels are kept in a list of their own, because how deep a
// recorded tree goes is up to its file.
void TableWorld::AppendEntries(const std::u16string& directory, std::vector<std::u16string>& output) const {
    struct Level {
        std::u16string directory;
        const std::vector<TableEntry>* entries;
        std::size_t next;
    };
    std::vector<Level> levels;
    const auto enter = [&](const std::u16string& path) {
        if (const auto found = tables_.tree.find(path); found != tables_.tree.end()) {
            levels.push_back({path, &found->second, 0});
        }
    };
    enter(directory);
    while (!levels.empty()) {
        Level& level = levels.back();
        if (level.next == level.entries->size()) {
            levels.pop_back();
            continue;
        }
        const TableEntry& entry = (*level.entries)[level.next++];
        const std::u16string path = Join(level.directory, entry.name);
        output.push_back(tables_.listenPath + u"\\" + path);
        if ((entry.attributes & platform::kFileAttributeDirectory) != 0) {
            enter(path);
        }
    }
}

const TableEntry* TableWorld::Find(const std::u16string& fullPath) const {
    const auto found = entries_.find(fullPath);
    return found == entries_.end() ? nullptr : found->second;
}

std::uint64_t TableWorld::GetFrnByPath(const std::u16string& fullPath) {
    const TableEntry* entry = Find(fullPath);
    return entry == nullptr ? 0 : entry->frn;
}

std::uint32_t TableWorld::AttributesOrAllOnes(const std::u16string& fullPath) {
    const TableEntry* entry = Find(fullPath);
    return entry == nullptr ? ~std::uint32_t{0} : entry->attributes;
}

}  // namespace tavi::replay
