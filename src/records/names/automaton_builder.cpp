#include "records/names/automaton_builder.h"

#include <algorithm>
#include <bit>
#include <regex>
#include <unordered_map>
#include <utility>

namespace tavi::records {
namespace {

// Several times what the rules need; beyond them an expression is refused instead of filling the memory.
constexpr std::size_t kMaximumGraphStates = 5'000;
constexpr std::size_t kMaximumSubsets = 20'000;
constexpr std::size_t kMaximumClasses = 256;  // a class is stored in a byte

void SetBit(Bits& bits, std::size_t index) {
    bits[index / 64] |= std::uint64_t{1} << (index % 64);
}

bool HasBit(const Bits& bits, std::size_t index) {
    return (bits[index / 64] >> (index % 64) & 1) != 0;
}

void Unite(Bits& into, const Bits& from) {
    for (std::size_t word = 0; word < into.size(); ++word) {
        into[word] |= from[word];
    }
}

template <typename Visit>
void ForEachBit(const Bits& bits, Visit visit) {
    for (std::size_t word = 0; word < bits.size(); ++word) {
        for (std::uint64_t left = bits[word]; left != 0; left &= left - 1) {
            visit(word * 64 + static_cast<std::size_t>(std::countr_zero(left)));
        }
    }
}

struct WordsHash {
    template <typename Word>
    std::size_t operator()(const std::vector<Word>& words) const {
        std::uint64_t hash = 0x9E3779B97F4A7C15;
        for (const Word word : words) {
            hash = (hash ^ word) * 0xFF51AFD7ED558CCD;
            hash ^= hash >> 32;
        }
        return static_cast<std::size_t>(hash);
    }
};

// For every state, the states that consume or accept and can be reached from it without reading anything.
std::vector<Bits> EmptyClosures(const ExpressionGraph& graph) {
    const auto& states = graph.states();
    const std::size_t words = (states.size() + 63) / 64;
    std::vector<Bits> closures(states.size(), Bits(words));
    std::vector<std::size_t> pending;
    std::vector<std::size_t> visitedBy(states.size(), states.size());
    for (std::size_t from = 0; from < states.size(); ++from) {
        pending.assign(1, from);
        while (!pending.empty()) {
            const std::size_t at = pending.back();
            pending.pop_back();
            if (std::exchange(visitedBy[at], from) == from) {
                continue;
            }
            if (states[at].kind == ExpressionGraph::State::Kind::kEither) {
                pending.push_back(states[at].next);
                pending.push_back(states[at].other);
            } else {
                SetBit(closures[from], at);
            }
        }
    }
    return closures;
}

// The subset construction. A deterministic state is a set of graph states; only those that consume or accept count.
class SubsetConstruction {
public:
    SubsetConstruction(const ExpressionGraph& graph, const UnitClasses& classes)
        : graph_(graph),
          classes_(classes),
          closures_(EmptyClosures(graph)),
          reachedThroughSet_(graph.sets().size()),
          usedSets_((graph.sets().size() + 63) / 64) {}

    DeterministicAutomaton Run() {
        const std::size_t words = (graph_.states().size() + 63) / 64;
        Bits start(words);
        for (const std::size_t state : graph_.starts()) {
            Unite(start, closures_[state]);
        }
        result_.classCount = classes_.setsOfClass.size();
        result_.start = StateOf(start);
        for (std::size_t state = 0; state < subsets_.size(); ++state) {
            Expand(state, words);
        }
        return std::move(result_);
    }

private:
    std::uint32_t StateOf(const Bits& subset) {
        const auto [entry, isNew] = stateOfSubset_.try_emplace(subset, static_cast<std::uint32_t>(subsets_.size()));
        if (isNew) {
            if (subsets_.size() >= kMaximumSubsets) {
                throw std::regex_error(std::regex_constants::error_space);
            }
            subsets_.push_back(&entry->first);  // an unordered_map's keys stay where they are
            std::uint8_t groups = 0;
            ForEachBit(subset, [&](std::size_t at) {
                const auto& state = graph_.states()[at];
                if (state.kind == ExpressionGraph::State::Kind::kAccept) {
                    groups = static_cast<std::uint8_t>(groups | (1U << state.other));
                }
            });
            result_.accepts.push_back(groups);
        }
        return entry->second;
    }

    void Expand(std::size_t state, std::size_t words) {
        // First per set, then per class: most members of a subset share a few sets, and classes that are in the same
        // ones of these sets lead to the same state.
        std::ranges::fill(usedSets_, 0);
        ForEachBit(*subsets_[state], [&](std::size_t at) {
            const auto& member = graph_.states()[at];
            if (member.kind != ExpressionGraph::State::Kind::kUnits) {
                return;
            }
            Bits& reached = reachedThroughSet_[member.other];
            if (!HasBit(usedSets_, member.other)) {
                SetBit(usedSets_, member.other);
                reached.assign(words, 0);
            }
            Unite(reached, closures_[member.next]);
        });
        successorOf_.clear();
        for (const Bits& setsOfClass : classes_.setsOfClass) {
            sets_ = usedSets_;
            for (std::size_t word = 0; word < sets_.size(); ++word) {
                sets_[word] &= setsOfClass[word];
            }
            auto entry = successorOf_.find(sets_);
            if (entry == successorOf_.end()) {
                entry = successorOf_.emplace(sets_, Successor(sets_, words)).first;
            }
            result_.next.push_back(entry->second);
        }
    }

    std::uint32_t Successor(const Bits& sets, std::size_t words) {
        subset_.assign(words, 0);
        ForEachBit(sets, [&](std::size_t set) { Unite(subset_, reachedThroughSet_[set]); });
        return StateOf(subset_);
    }

    const ExpressionGraph& graph_;
    const UnitClasses& classes_;
    std::vector<Bits> closures_;
    std::unordered_map<Bits, std::uint32_t, WordsHash> stateOfSubset_;
    std::vector<const Bits*> subsets_;
    std::vector<Bits> reachedThroughSet_;
    Bits usedSets_;
    Bits sets_;  // these two are fields so that their memory is reused
    Bits subset_;
    std::unordered_map<Bits, std::uint32_t, WordsHash> successorOf_;
    DeterministicAutomaton result_;
};

}  // namespace

void ExpressionGraph::Add(const ExpressionNode& expression, std::uint8_t group) {
    starts_.push_back(Compile(expression, Append({State::Kind::kAccept, 0, group})));
}

std::size_t ExpressionGraph::Append(const State& state) {
    if (states_.size() >= kMaximumGraphStates) {
        throw std::regex_error(std::regex_constants::error_space);
    }
    states_.push_back(state);
    return states_.size() - 1;
}

std::size_t ExpressionGraph::SetIndex(const UnitSet& set) {
    const auto [entry, isNew] = setIndexes_.try_emplace(set, sets_.size());
    if (isNew) {
        sets_.push_back(set);
    }
    return entry->second;
}

// Returns the state where the node begins when `next` is where it ends: the graph is built from its end.
std::size_t ExpressionGraph::Compile(const ExpressionNode& node, std::size_t next) {
    switch (node.kind) {
        case ExpressionNode::Kind::kUnits:
            return Append({State::Kind::kUnits, next, SetIndex(node.units)});
        case ExpressionNode::Kind::kSequence:
            for (auto child = node.children.rbegin(); child != node.children.rend(); ++child) {
                next = Compile(*child, next);
            }
            return next;
        case ExpressionNode::Kind::kAlternatives: {
            std::size_t begin = Compile(node.children.back(), next);
            for (auto child = std::next(node.children.rbegin()); child != node.children.rend(); ++child) {
                begin = Append({State::Kind::kEither, Compile(*child, next), begin});
            }
            return begin;
        }
        case ExpressionNode::Kind::kRepeat:
            return CompileRepeat(node, next);
    }
    return next;
}

std::size_t ExpressionGraph::CompileRepeat(const ExpressionNode& node, std::size_t next) {
    const ExpressionNode& child = node.children.front();
    std::size_t begin = next;
    if (node.atMost == ExpressionNode::kUnbounded) {
        const std::size_t loop = Append({State::Kind::kEither, next, next});
        const std::size_t body = Compile(child, loop);  // before states_ is indexed: it grows
        states_[loop].other = body;
        begin = loop;
    } else {
        for (unsigned copy = node.atLeast; copy < node.atMost; ++copy) {
            begin = Append({State::Kind::kEither, Compile(child, begin), next});
        }
    }
    for (unsigned copy = 0; copy < node.atLeast; ++copy) {
        begin = Compile(child, begin);
    }
    return begin;
}

UnitClasses ClassifyUnits(const std::vector<UnitSet>& sets) {
    // Between two neighbouring borders no set begins or ends.
    std::vector<unsigned> borders{0, 0x10000};
    for (const UnitSet& set : sets) {
        for (const UnitRange& range : set) {
            borders.push_back(range.first);
            borders.push_back(range.last + 1U);
        }
    }
    std::ranges::sort(borders);
    borders.erase(std::unique(borders.begin(), borders.end()), borders.end());

    UnitClasses classes;
    classes.classOfUnit.resize(0x10000);
    std::map<Bits, std::size_t> classOfMembership;
    for (std::size_t border = 0; border + 1 < borders.size(); ++border) {
        Bits membership((sets.size() + 63) / 64);
        for (std::size_t set = 0; set < sets.size(); ++set) {
            if (Contains(sets[set], static_cast<char16_t>(borders[border]))) {
                SetBit(membership, set);
            }
        }
        const auto [entry, isNew] = classOfMembership.try_emplace(membership, classes.setsOfClass.size());
        if (isNew) {
            classes.setsOfClass.push_back(std::move(membership));
        }
        if (classes.setsOfClass.size() > kMaximumClasses) {
            throw std::regex_error(std::regex_constants::error_space);
        }
        std::fill(classes.classOfUnit.begin() + borders[border], classes.classOfUnit.begin() + borders[border + 1],
                  static_cast<std::uint8_t>(entry->second));
    }
    return classes;
}

DeterministicAutomaton Determinise(const ExpressionGraph& graph, const UnitClasses& classes) {
    return SubsetConstruction(graph, classes).Run();
}

}  // namespace tavi::records
