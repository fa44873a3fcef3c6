// A Platform like another one, in which some roles are played by a test's own objects. What is given is found by its
// type, so the order is free, and one object may play several roles:
//
//     platform::Platform platform = PlatformWith(machine.platform(), files, clock);
//
// This is the tests' only list of the roles. Real objects and replacements outlive the result.
#pragma once

#include <type_traits>

#include "platform/platform.h"

namespace tavi::test {

namespace internal {

// The last of `replacements` that is a Role, or `real`.
template <class Role, class... Replacements>
Role& Choose(Role& real, Replacements&... replacements) {
    Role* chosen = &real;
    const auto consider = [&chosen](auto& replacement) {
        if constexpr (std::is_convertible_v<decltype(&replacement), Role*>) {
            chosen = &replacement;
        }
    };
    (consider(replacements), ...);
    return *chosen;
}

template <class T, class... Roles>
inline constexpr bool kPlaysOneOf = (std::is_convertible_v<T*, Roles*> || ...);

template <class T>
inline constexpr bool kPlaysARole =
    kPlaysOneOf<T, platform::SystemErrors, platform::Services, platform::Modules, platform::Files, platform::Paths,
                platform::Volumes, platform::NativeCalls, platform::CloudFiles, platform::CodePage, platform::Pipes,
                platform::Threads, platform::Clock, platform::Heap, platform::Trust, platform::Sqlite,
                platform::Digest>;

}  // namespace internal

template <class... Replacements>
platform::Platform PlatformWith(const platform::Platform& real, Replacements&... with) {
    static_assert((internal::kPlaysARole<Replacements> && ...), "each replacement is an implementation of a role");
    using internal::Choose;
    return {.errors = Choose(real.errors, with...),
            .services = Choose(real.services, with...),
            .modules = Choose(real.modules, with...),
            .files = Choose(real.files, with...),
            .paths = Choose(real.paths, with...),
            .volumes = Choose(real.volumes, with...),
            .nativeCalls = Choose(real.nativeCalls, with...),
            .cloudFiles = Choose(real.cloudFiles, with...),
            .codePage = Choose(real.codePage, with...),
            .pipes = Choose(real.pipes, with...),
            .threads = Choose(real.threads, with...),
            .clock = Choose(real.clock, with...),
            .heap = Choose(real.heap, with...),
            .trust = Choose(real.trust, with...),
            .sqlite = Choose(real.sqlite, with...),
            .digest = Choose(real.digest, with...)};
}

}  // namespace tavi::test
