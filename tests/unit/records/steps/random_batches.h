// Small random batches in which names, numbers and kinds collide all the time: every batch draws from a handful of
// each, because rules about equal names and numbers meet nothing in a large alphabet. The same seed gives the same
// batches on every system. Held-back records carry any kind, so that each step sees lists that no journal would give
// it.
#pragma once

#include <cstdint>
#include <random>

#include "replay/batch_json.h"

namespace tavi::reference {

class RandomBatches {
public:
    explicit RandomBatches(std::uint64_t seed) : engine_(seed) {}

    replay::Batch Next();

private:
    struct Alphabet {
        std::vector<std::u16string> names;
        std::vector<std::uint64_t> numbers;
        std::vector<std::uint32_t> attributes;
        std::vector<std::uint32_t> journalReasons;
        std::vector<std::int32_t> kinds;
    };

    std::size_t Below(std::size_t bound) { return static_cast<std::size_t>(engine_() % bound); }
    bool OneIn(std::size_t count) { return Below(count) == 0; }
    template <typename List>
    auto Pick(const List& list) {
        return *std::next(std::begin(list), static_cast<std::ptrdiff_t>(Below(std::size(list))));
    }
    template <typename Value, typename List>
    std::vector<Value> Some(const List& pool, std::size_t atMost);

    Alphabet MakeAlphabet();
    void AdvanceTime();
    records::UsnRecord MakeUsnRecord(const Alphabet& alphabet);
    records::FileChangeInfo MakeHeldBack(const Alphabet& alphabet);
    void AppendTrace(const Alphabet& alphabet, records::UsnRecordList& list);
    void AppendUnhiding(const Alphabet& alphabet, records::UsnRecordList& list);
    void AppendSave(const Alphabet& alphabet, records::FileChangeInfoList& list);
    void AppendMovedIn(const Alphabet& alphabet, records::UsnRecordList& list);
    replay::WorldTables MakeWorld(const Alphabet& alphabet);

    std::mt19937_64 engine_;
    std::int64_t time_ = 0;
};

}  // namespace tavi::reference
