#include "lives/shrink.h"

#include <algorithm>
#include <utility>

namespace tavi::lives {

namespace {

class Shrinker {
public:
    Shrinker(Plan plan, char judge, std::string knownLimit)
        : plan_(std::move(plan)), judge_(judge), knownLimit_(std::move(knownLimit)) {}

    Plan Run() {
        for (bool shorter = true; shorter;) {
            const std::size_t before = plan_.events.size();
            for (std::size_t chunk = std::max<std::size_t>(before / 2, 1); chunk > 0; chunk /= 2) {
                LeaveOut(chunk);
            }
            Simplify();
            shorter = plan_.events.size() < before;
        }
        return std::move(plan_);
    }

private:
    bool StillGoesWrong(const Plan& plan) const {
        const Report report = Live(plan);
        return std::any_of(report.findings.begin(), report.findings.end(), [&](const Finding& finding) {
            return finding.judge == judge_ && finding.knownLimit == knownLimit_;
        });
    }

    bool Try(Plan plan) {
        if (!StillGoesWrong(plan)) {
            return false;
        }
        plan_ = std::move(plan);
        return true;
    }

    void LeaveOut(std::size_t chunk) {
        for (std::size_t at = 0; at < plan_.events.size();) {
            Plan shorter = plan_;
            const auto from = shorter.events.begin() + static_cast<std::ptrdiff_t>(at);
            const std::size_t count = std::min(chunk, shorter.events.size() - at);
            shorter.events.erase(from, from + static_cast<std::ptrdiff_t>(count));
            if (!Try(std::move(shorter))) {
                at += chunk;
            }
        }
    }

    void Simplify() {
        Plan simpler = plan_;
        if (std::exchange(simpler.readLimit, 0) != 0) {
            Try(std::move(simpler));
        }
        for (bool Plan::*const what : {&Plan::coarseClock, &Plan::mixedCaseBin, &Plan::ownWrites}) {
            simpler = plan_;
            if (std::exchange(simpler.*what, false)) {
                Try(std::move(simpler));
            }
        }
        simpler = plan_;
        if (std::exchange(simpler.journalSize, 0) != 0) {
            Try(std::move(simpler));
        }
        for (std::size_t i = 0; i < plan_.events.size(); ++i) {
            simpler = plan_;
            if (std::exchange(simpler.events[i].pause, 0) != 0) {
                Try(std::move(simpler));
            }
        }
    }

    Plan plan_;
    char judge_;
    std::string knownLimit_;
};

}  // namespace

Plan Shrink(Plan plan, char judge, const std::string& knownLimit) {
    return Shrinker(std::move(plan), judge, knownLimit).Run();
}

std::string Story(const Plan& plan, const Report& report) {
    std::string story =
        "seed " + std::to_string(plan.seed) + ", split interval " + std::to_string(plan.intervalSeconds) + " s" +
        (plan.readLimit == 0 ? "" : ", " + std::to_string(plan.readLimit) + " bytes per read") +
        (plan.coarseClock ? ", stamps every 15.6 ms" : "") + (plan.mixedCaseBin ? ", $Recycle.Bin" : "") +
        (plan.ownWrites ? ", with the service's own writes" : "") +
        (plan.journalSize == 0 ? "" : ", a journal of " + std::to_string(plan.journalSize) + " bytes") +
        (plan.steady ? ", steady" : "") + (plan.everyThreadAtOnce ? ", every thread at once" : "") + "\n";
    for (const Event& event : plan.events) {
        story += "  " + Describe(event) + "\n";
    }
    for (const Finding& finding : report.findings) {
        story += std::string("  => ") + finding.judge + ": " + finding.text +
                 (finding.knownLimit.empty() ? "" : " [" + finding.knownLimit + "]") + "\n";
    }
    return story;
}

}  // namespace tavi::lives
