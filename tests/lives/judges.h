// The judges that look at a life's end: see life.h for their letters.
#pragma once

#include <string>
#include <vector>

#include "lives/known_limits.h"
#include "lives/life.h"
#include "lives/reference.h"
#include "lives/stretch.h"
#include "lives/truth.h"

namespace tavi::lives {

class Judges {
public:
    Judges(const Plan& plan, const Truth& truth, Report& report) : plan_(plan), truth_(truth), report_(report) {}

    void Find(char judge, std::string text, std::string knownLimit = {});
    // a and e, for a stretch that can be compared.
    void CompareWithReference(const Stretch& stretch, const Reference& reference,
                              const std::vector<std::int64_t>& inside);
    // c and d, for a stretch at whose end everything is stored.
    void CheckOrigins(const Stretch& stretch, const Image& image, const FolderState& now);
    void CheckNothingLost(const Stretch& stretch, const Image& image, const FolderState& now,
                          const Reference* reference);

private:
    // By the rows before `end`, `depth` directories that moved below.
    bool IsExplained(const Stretch& stretch, const Image& image, std::size_t end, const std::u16string& path,
                     const FileState& state, int depth) const;
    Drop DropOf(const Stretch& stretch, const std::u16string& path, std::uint64_t frn,
                const Reference* reference) const;
    std::string LimitOfADirectoryAbove(const Stretch& stretch, const Image& image, const std::u16string& path,
                                       const FolderState& now, const Reference* reference) const;
    std::string LimitOfTheVolume(const Stretch& stretch, const std::u16string& path, const FileState& state) const;
    void FindLoss(const Stretch& stretch, const Image& image, const std::u16string& path, const FolderState& now,
                  const Reference* reference);

    const Plan& plan_;
    const Truth& truth_;
    Report& report_;
};

}  // namespace tavi::lives
