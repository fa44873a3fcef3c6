#!/usr/bin/env python3
"""layers.py [ROOT]: which folder may include which, and whether the build knows it. Ends with 1 and a line per offence.

- AREAS says what a folder's files may include of ours. Any other include is an offence.
- A target that includes a header links the target the header belongs to, itself or by way of what it links. A library
  links none of ours that it includes nothing of.
- Only the folders that are there to talk to the system include its headers.
"""
import pathlib
import re
import sys

# For each folder the target that its headers belong to ("": to nobody but the folder's own programs), and what it may
# include besides its own: folders, single headers, or with "/*" all that is below, the real system's folders excepted.
# The order is that of the arrows. Of the paths that fit a file the longest counts.
AREAS = {
    "src/platform": ("tavi_platform", ()),
    "src/platform/windows": ("tavi_platform_windows", ("src/platform",)),
    "src/imports": ("tavi_imports", ("src/platform",)),
    "src/util": ("tavi_util", ("src/imports", "src/platform")),
    "src/records/model": ("tavi_model", ("src/imports", "src/platform")),
    "src/records/names": ("tavi_names", ("src/records/model", "src/platform")),
    "src/records/dumps": ("tavi_dumps", ("src/records/model", "src/imports")),
    "src/records/steps": ("tavi_steps", ("src/records/model", "src/records/names", "src/platform")),
    "src/db": ("tavi_db", ("src/records/model", "src/util", "src/imports", "src/platform")),
    "src/journal": ("tavi_journal", ("src/db", "src/records/model", "src/util", "src/imports", "src/platform")),
    "src/records/cycle": ("tavi_cycle", (
        "src/records/dumps", "src/records/steps", "src/records/names", "src/records/model", "src/journal", "src/db",
        "src/util", "src/imports", "src/platform")),
    # The library for clients goes to others: its public headers include only each other. The protocol's numbers are in one
    # of them, which the service takes too.
    "client/include/tavi_client/protocol.h": ("tavi_protocol", ()),
    "client/include": ("tavi_client_library", ("client/include/tavi_client/protocol.h",)),
    "client": ("tavi_client_library", (
        "client/include", "client/include/tavi_client/protocol.h", "src/imports/type_convert.h",
        "src/imports/file_helper.h", "src/platform/constants.h")),
    "client/windows": ("tavi_client_library", ("client", "client/include", "client/include/tavi_client/protocol.h")),
    "src/ipc": ("tavi_ipc", ("client/include/tavi_client/protocol.h", "src/util", "src/imports", "src/platform")),
    "src/service/lifecycle": ("tavi_lifecycle", ("src/imports", "src/platform")),
    "src/listen": ("tavi_listen", (
        "src/records/cycle", "src/journal", "src/db", "src/ipc", "src/service/lifecycle", "src/util", "src/imports",
        "src/platform")),
    "src/service": ("tavi_service", ("src/listen", "src/service/lifecycle", "src/db", "src/imports", "src/platform")),
    # The composition root: the one place of the service where the real system is made.
    "src/service/main.cpp": ("", ("src/service", "src/db", "src/imports", "src/platform", "src/platform/windows")),
    "sim": ("tavi_machine", ("src/imports", "src/platform")),
    "tools/client": ("tavi_client", ("client/include", "src/records/names", "src/records/steps", "src/journal",
                                     "src/imports", "src/platform")),
    "tools/client/windows": ("", ("tools/client", "client/include", "src/imports", "src/platform", "src/platform/windows")),
    "tools/replay": ("tavi_replay", ("sim", "src/records/*", "src/db", "src/imports", "src/platform")),
    "examples": ("", ("client/include",)),
    "bench": ("", ("src/*", "sim/*", "tests/*")),
    "fuzz": ("", ("src/*", "sim/*", "tests/*")),
    "tests": ("", ("src/*", "sim/*", "client/*", "tools/*", "tests/*")),
    "tests/windows": ("", ("src/*", "sim/*", "client/*", "tests/*", "src/platform/windows", "client/windows")),
}
SYSTEM_FOLDERS = ("src/platform/windows", "client/windows", "tools/client/windows")

WINDOWS = re.compile(
    r"(windows|winsvc|winioctl|winternl|wintrust|softpub|wincrypt|shellapi|shlobj|shlwapi|aclapi|sddl)\.h", re.I)
POSIX = re.compile(r"(unistd|fcntl|pthread|dlfcn|sys/[a-z]+)\.h")
NO_WINDOWS = ("src", "client", "tools", "examples", "tests/unit", "sim", "bench", "fuzz")
NO_POSIX = ("src", "client", "tests/unit", "sim")

INCLUDE = re.compile(r'^[ \t]*#[ \t]*include[ \t]*([<"])([^">]+)[">]', re.M)
INCLUDE_FOLDERS = ("src", "", "tests", "tools", "client/include", "client", "tools/client", "bench", "tests/emulation")


def within(path, folder):
    return path == folder or path.startswith(folder + "/")


def longest(path, folders):
    return max((folder for folder in folders if within(path, folder)), key=len, default=None)


class Tree:
    """The sources, what they include, and the targets that the CMakeLists.txt files declare."""

    def __init__(self, root):
        self.root = root
        top = ("src", "sim", "client", "tools", "examples", "bench", "fuzz", "tests")
        found = [path for folder in top for path in (root / folder).rglob("*")]
        self.files = {str(path.relative_to(root)): path.read_text(encoding="utf-8", errors="replace")
                      for path in found if path.suffix in (".h", ".cpp")}
        self.lists = [path for path in found if path.name == "CMakeLists.txt"]
        self.includes = {name: self._ours(name) for name in self.files}
        self.sources, self.links = {}, {}
        for path in self.lists:
            self._read_lists(path)

    def _ours(self, name):
        """The files of ours that this one includes."""
        found = []
        own = str(pathlib.PurePosixPath(name).parent)
        for _, included in INCLUDE.findall(self.files[name]):
            for folder in (own,) + INCLUDE_FOLDERS:
                candidate = str(pathlib.PurePosixPath(folder) / included)
                if candidate in self.files:
                    found.append(candidate)
                    break
        return found

    def _read_lists(self, path):
        folder = path.parent
        text = re.sub(r"#[^\n]*", "", path.read_text())
        text = re.sub(r"function\(.*?endfunction\(\)", "", text, flags=re.S)
        for command, arguments in re.findall(r"(\w+)\s*\(([^()]*)\)", text):
            words = [word.strip('"') for word in arguments.split()]
            if words:
                self._declare(command, words[0], words[1:], folder)

    def _declare(self, command, name, words, folder):
        sources = [word for word in words if word.endswith(".cpp")]
        if command in ("add_library", "add_executable", "target_sources", "tavi_library", "tavi_test", "tavi_bench",
                       "tavi_fuzzer", "tavi_double"):
            self.sources.setdefault(name, []).extend(self._source(folder, word) for word in sources)
            links = self.links.setdefault(name, set())
            if "DEPENDS" in words:
                links |= set(words[words.index("DEPENDS") + 1:])
            links |= {"tavi_double": {"tavi_emulation"}, "tavi_bench": {"ratio_table"}}.get(command, set())
        elif command == "target_link_libraries":
            self.links.setdefault(name, set()).update(words)

    def _source(self, folder, word):
        word = word.replace("${CMAKE_SOURCE_DIR}", str(self.root)).replace("${CMAKE_CURRENT_SOURCE_DIR}", str(folder))
        path = pathlib.Path(folder, word)
        return str(path.resolve().relative_to(self.root)) if path.exists() else word

    def linked(self, target):
        """All that this target links, by way of others too."""
        seen, left = set(), [target]
        while left:
            for other in self.links.get(left.pop(), ()):
                if other not in seen:
                    seen.add(other)
                    left.append(other)
        return seen


def fits(entry, header):
    if entry.endswith("/*"):
        return within(header, entry[:-2]) and not longest(header, SYSTEM_FOLDERS)
    return entry in (header, longest(header, AREAS))


def allowed(name, header):
    own = longest(name, AREAS)
    return own == longest(header, AREAS) or any(fits(entry, header) for entry in AREAS[own][1])


def wrong_includes(tree):
    for name in sorted(name for name in tree.files if longest(name, AREAS) is None):
        yield f"{name} is in no listed folder"
    for name, included in sorted(tree.includes.items()):
        for header in included:
            if longest(name, AREAS) and not allowed(name, header):
                yield f"{name} includes {header}"
    for name, text in sorted(tree.files.items()):
        for _, header in INCLUDE.findall(text):
            if WINDOWS.fullmatch(header) and longest(name, NO_WINDOWS) and not longest(name, SYSTEM_FOLDERS):
                yield f"{name} includes <{header}>"
            if POSIX.fullmatch(header) and longest(name, NO_POSIX):
                yield f"{name} includes <{header}>"


def owners(header, compiled):
    """The targets that this header belongs to; none where headers belong to nobody, as the tests' own."""
    return compiled.get(header[:-2] + ".cpp") or {AREAS.get(longest(header, AREAS), ("",))[0]} - {""}


def included_targets(tree, target, compiled):
    """(targets that would do, the include that needs one of them) for what this target's own files include."""
    seen, left = set(), tree.sources[target] + [
        name for name in tree.includes if name.endswith(".h") and owners(name, compiled) == {target}]
    while left:
        name = left.pop()
        if name in seen or name not in tree.includes:
            continue
        seen.add(name)
        for header in tree.includes[name]:
            of = owners(header, compiled)
            if not of or target in of:
                left.append(header)
            else:
                yield of, f"{name} includes {header}"


def wrong_links(tree):
    libraries = {library for library, _ in AREAS.values()} | {"tavi_emulated_journal", "tavi_platform_native"} - {""}
    compiled = {}
    for target, source in ((target, source) for target in tree.sources for source in tree.sources[target]):
        if target in libraries or within(source, "sim"):
            compiled.setdefault(source, set()).add(target)
    for target in sorted(tree.sources):
        used = list(included_targets(tree, target, compiled))
        linked = tree.linked(target)
        lacking = {min(of): why for of, why in reversed(used) if not of & linked}
        for other, why in sorted(lacking.items()):
            yield f"{target} does not link {other}, but {why}"
        if target in libraries:
            for other in sorted(tree.links[target] & libraries - set().union(*(of for of, _ in used))):
                yield f"{target} links {other}, but includes nothing of it"


def main(root):
    tree = Tree(root)
    if not tree.files or not tree.sources:
        print(f"nothing to check in {root}")
        return 1
    offences = list(wrong_includes(tree)) + list(wrong_links(tree))
    print("\n".join(offences), end="\n" if offences else "")
    return 1 if offences else 0


if __name__ == "__main__":
    sys.exit(main(pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else pathlib.Path(__file__).parent.parent).resolve()))
