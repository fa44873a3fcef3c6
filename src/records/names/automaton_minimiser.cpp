#include <algorithm>
#include <numeric>
#include <span>
#include <utility>

#include "records/names/automaton_builder.h"

namespace tavi::records {
namespace {

// States grouped into blocks; a block can be split into its marked and its unmarked states.
class StatePartition {
public:
    explicit StatePartition(std::size_t states) : order_(states), placeOf_(states), blockOf_(states) {
        std::iota(order_.begin(), order_.end(), std::size_t{0});
        std::iota(placeOf_.begin(), placeOf_.end(), std::size_t{0});
        blocks_.push_back({0, states, 0});
    }

    std::size_t BlockCount() const { return blocks_.size(); }
    std::size_t BlockOf(std::size_t state) const { return blockOf_[state]; }
    std::span<const std::size_t> Block(std::size_t block) const {
        return std::span(order_).subspan(blocks_[block].begin, blocks_[block].end - blocks_[block].begin);
    }

    void Mark(std::size_t state) {
        Extent& block = blocks_[blockOf_[state]];
        const std::size_t firstUnmarked = block.begin + block.marked;
        if (placeOf_[state] < firstUnmarked) {
            return;
        }
        if (block.marked++ == 0) {
            touched_.push_back(blockOf_[state]);
        }
        std::swap(order_[placeOf_[state]], order_[firstUnmarked]);
        placeOf_[order_[placeOf_[state]]] = placeOf_[state];
        placeOf_[state] = firstUnmarked;
    }

    // Splits every block with marked and unmarked states; the smaller part becomes a new block, at the end.
    void SplitMarked() {
        for (const std::size_t index : touched_) {
            Extent& block = blocks_[index];
            const std::size_t border = block.begin + std::exchange(block.marked, 0);
            if (border == block.end) {
                continue;
            }
            Extent part{block.begin, border, 0};
            if (border - block.begin <= block.end - border) {
                block.begin = border;
            } else {
                part = {border, block.end, 0};
                block.end = border;
            }
            for (std::size_t place = part.begin; place < part.end; ++place) {
                blockOf_[order_[place]] = blocks_.size();
            }
            blocks_.push_back(part);
        }
        touched_.clear();
    }

private:
    struct Extent {
        std::size_t begin;
        std::size_t end;
        std::size_t marked;  // the first so many states are marked
    };

    std::vector<std::size_t> order_;  // the states, block by block
    std::vector<std::size_t> placeOf_;
    std::vector<std::size_t> blockOf_;
    std::vector<Extent> blocks_;
    std::vector<std::size_t> touched_;
};

// Who leads where: the states whose successor by a class is a given state.
class Predecessors {
public:
    explicit Predecessors(const DeterministicAutomaton& automaton)
        : classCount_(automaton.classCount), begins_(automaton.next.size() + 1), states_(automaton.next.size()) {
        for (std::size_t edge = 0; edge < automaton.next.size(); ++edge) {
            ++begins_[Slot(automaton.next[edge], edge % classCount_) + 1];
        }
        std::partial_sum(begins_.begin(), begins_.end(), begins_.begin());
        std::vector<std::size_t> ends(begins_);
        for (std::size_t edge = 0; edge < automaton.next.size(); ++edge) {
            states_[ends[Slot(automaton.next[edge], edge % classCount_)]++] = edge / classCount_;
        }
    }

    std::span<const std::size_t> Of(std::size_t state, std::size_t unitClass) const {
        const std::size_t slot = Slot(state, unitClass);
        return std::span(states_).subspan(begins_[slot], begins_[slot + 1] - begins_[slot]);
    }

private:
    std::size_t Slot(std::size_t state, std::size_t unitClass) const { return state * classCount_ + unitClass; }

    std::size_t classCount_;
    std::vector<std::size_t> begins_;
    std::vector<std::size_t> states_;
};

// Hopcroft's refinement: states start apart when they accept differently; every block that came to be parts the blocks
// that lead into it and elsewhere by the same class.
StatePartition PartStates(const DeterministicAutomaton& automaton) {
    const Predecessors predecessors(automaton);
    StatePartition partition(automaton.accepts.size());
    for (unsigned groups = 0; groups <= 0xFF; ++groups) {
        for (std::size_t state = 0; state < automaton.accepts.size(); ++state) {
            if (automaton.accepts[state] == groups) {
                partition.Mark(state);
            }
        }
        partition.SplitMarked();
    }
    std::vector<std::size_t> splitter;
    for (std::size_t block = 0; block < partition.BlockCount(); ++block) {
        splitter.assign(partition.Block(block).begin(), partition.Block(block).end());
        for (std::size_t unitClass = 0; unitClass < automaton.classCount; ++unitClass) {
            for (const std::size_t state : splitter) {
                std::ranges::for_each(predecessors.Of(state, unitClass), [&](std::size_t p) { partition.Mark(p); });
            }
            partition.SplitMarked();
        }
    }
    return partition;
}

}  // namespace

DeterministicAutomaton Minimise(const DeterministicAutomaton& automaton) {
    const StatePartition partition = PartStates(automaton);
    DeterministicAutomaton minimal;
    minimal.classCount = automaton.classCount;
    minimal.start = partition.BlockOf(automaton.start);
    for (std::size_t block = 0; block < partition.BlockCount(); ++block) {
        const std::size_t state = partition.Block(block).front();
        minimal.accepts.push_back(automaton.accepts[state]);
        for (std::size_t unitClass = 0; unitClass < automaton.classCount; ++unitClass) {
            const std::size_t next = automaton.next[state * automaton.classCount + unitClass];
            minimal.next.push_back(static_cast<std::uint32_t>(partition.BlockOf(next)));
        }
    }
    return minimal;
}

}  // namespace tavi::records
