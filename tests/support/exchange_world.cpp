#include "support/exchange_world.h"

#include <algorithm>
#include <utility>

#include "imports/type_convert.h"

namespace tavi::test {

using namespace platform;

namespace {

constexpr int kMostJunctions = 8;
constexpr std::int32_t kNoSignature = static_cast<std::int32_t>(0x800B0100);

// "C:\Apps\client.exe" and its "\\?\" form without the drive: "Apps\client.exe". Nothing for any other path.
std::optional<std::string_view> BelowRoot(std::string_view path) {
    if (path.starts_with("\\\\?\\")) {
        path.remove_prefix(4);
    }
    if (!path.starts_with("C:\\")) {
        return std::nullopt;
    }
    path.remove_prefix(3);
    return path;
}

std::pair<std::string_view, std::string_view> SplitLast(std::string_view path) {
    const std::size_t last = path.rfind('\\');
    return {path.substr(0, last), path.substr(last + 1)};
}

std::uint32_t Needs(std::uint32_t access) {
    std::uint32_t needs = 0;
    needs |= (access & kGenericRead) != 0 ? kFileShareRead : 0;
    needs |= (access & kGenericWrite) != 0 ? kFileShareWrite : 0;
    needs |= (access & kDelete) != 0 ? kFileShareDelete : 0;
    return needs;
}

}  // namespace

ExchangeWorld::ExchangeWorld(const Platform& real)
    : ForwardingSystemErrors(real.errors),
      ForwardingFiles(real.files),
      ForwardingPaths(real.paths),
      ForwardingClock(real.clock),
      ForwardingTrust(real.trust),
      nodes_(1) {}

void ExchangeWorld::Step() {
    ++now_;
    const std::size_t call = calls_++;
    if (beforeCall) {
        beforeCall(call);
    }
}

template <typename Result>
Result ExchangeWorld::Fail(std::uint32_t code, Result result) {
    lastError_ = code;
    return result;
}

ExchangeWorld::Number ExchangeWorld::Child(Number folder, std::string_view name) const {
    for (Number node = 1; node < nodes_.size(); ++node) {
        if (nodes_[node].parent == folder && nodes_[node].name == name) {
            return node;
        }
    }
    return kNone;
}

ExchangeWorld::Number ExchangeWorld::Find(std::string_view path, Last last, int junctions) const {
    const std::optional<std::string_view> below = BelowRoot(path);
    if (!below || junctions > kMostJunctions) {
        return kNone;
    }
    Number node = 0;
    for (std::string_view rest = *below; !rest.empty() && node != kNone;) {
        const std::size_t end = std::min(rest.find('\\'), rest.size());
        node = Child(node, rest.substr(0, end));
        rest.remove_prefix(std::min(end + 1, rest.size()));
        const bool follows = node != kNone && nodes_[node].kind == Kind::kJunction;
        if (follows && (!rest.empty() || last == Last::kFollow)) {
            const std::string further = rest.empty() ? std::string() : "\\" + std::string(rest);
            return Find(nodes_[node].target + further, last, junctions + 1);
        }
    }
    return node;
}

ExchangeWorld::Number ExchangeWorld::Add(std::string_view path, Node node) {
    const auto [parent, name] = SplitLast(path);
    node.parent = parent == "C:" ? 0 : Find(parent, Last::kFollow);
    node.name = name;
    if (node.parent == kNone || nodes_[node.parent].kind != Kind::kFolder || Child(node.parent, name) != kNone) {
        return kNone;
    }
    nodes_.push_back(std::move(node));
    return nodes_.size() - 1;
}

std::string ExchangeWorld::PathOf(Number node) const {
    return node == 0 ? "C:" : PathOf(nodes_[node].parent) + "\\" + nodes_[node].name;
}

bool ExchangeWorld::IsBelow(Number node, Number folder) const {
    while (node != 0 && node != folder) {
        node = nodes_[node].parent;
    }
    return node == folder;
}

bool ExchangeWorld::IsRunning(Number file) const {
    return std::ranges::any_of(processes_, [&](const auto& process) { return process.second.image == file; });
}

bool ExchangeWorld::Conflicts(Number file, std::uint32_t access, std::uint32_t share) const {
    if ((access & kGenericWrite) != 0 && IsRunning(file)) {
        return true;
    }
    return std::ranges::any_of(opened_, [&](const auto& entry) {
        const Opened& other = entry.second;
        return other.file == file && ((Needs(access) & ~other.share) != 0 || (Needs(other.access) & ~share) != 0);
    });
}

bool ExchangeWorld::MayBeRenamed(Number node) const {
    if (nodes_[node].kind == Kind::kFile) {
        return !Conflicts(node, kDelete, kFileShareRead | kFileShareWrite | kFileShareDelete);
    }
    return std::ranges::none_of(
        opened_, [&](const auto& entry) { return entry.second.file && IsBelow(*entry.second.file, node); });
}

bool ExchangeWorld::MakeFolder(std::string_view path) {
    return Add(path, {}) != kNone;
}

bool ExchangeWorld::MakeFile(std::string_view path, std::optional<std::u16string> signer) {
    Node node;
    node.kind = Kind::kFile;
    node.signer = std::move(signer);
    return Add(path, std::move(node)) != kNone;
}

bool ExchangeWorld::MakeJunction(std::string_view path, std::string_view target) {
    Node node;
    node.kind = Kind::kJunction;
    node.target = target;
    return Add(path, std::move(node)) != kNone;
}

bool ExchangeWorld::RemoveJunction(std::string_view path) {
    const Number node = Find(path, Last::kOpenItself);
    if (node == kNone || nodes_[node].kind != Kind::kJunction) {
        return false;
    }
    nodes_[node].parent = kNone;  // out of every folder; numbers stay
    return true;
}

bool ExchangeWorld::Rename(std::string_view from, std::string_view to) {
    const Number node = Find(from, Last::kOpenItself);
    const auto [parentPath, name] = SplitLast(to);
    const Number parent = parentPath == "C:" ? 0 : Find(parentPath, Last::kFollow);
    if (node == kNone || node == 0 || parent == kNone || nodes_[parent].kind != Kind::kFolder ||
        Child(parent, name) != kNone || IsBelow(parent, node) || !MayBeRenamed(node)) {
        return false;
    }
    nodes_[node].parent = parent;
    nodes_[node].name = name;
    return true;
}

bool ExchangeWorld::HoldAgainstWriting(std::string_view path) {
    const Number file = Find(path, Last::kFollow);
    constexpr std::uint32_t kShare = kFileShareRead | kFileShareDelete;
    if (file == kNone || nodes_[file].kind != Kind::kFile || Conflicts(file, kGenericRead, kShare)) {
        return false;
    }
    Open({.byProduct = false, .file = file, .access = kGenericRead, .share = kShare, .process = {}});
    return true;
}

void ExchangeWorld::LetGoOfEverything() {
    std::erase_if(opened_, [](const auto& entry) { return !entry.second.byProduct; });
}

bool ExchangeWorld::Run(std::uint32_t processId, std::string_view path) {
    const Number file = Find(path, Last::kFollow);
    const bool taken = processes_.contains(processId) || std::ranges::any_of(opened_, [&](const auto& entry) {
                           return entry.second.process && entry.second.process->number == processId;
                       });
    if (file == kNone || nodes_[file].kind != Kind::kFile || taken) {
        return false;
    }
    processes_[processId] = {processId, file, now_};
    return true;
}

void ExchangeWorld::End(std::uint32_t processId) {
    processes_.erase(processId);
}

std::size_t ExchangeWorld::OpenObjects() const {
    const auto ours = std::ranges::count_if(opened_, [](const auto& entry) { return entry.second.byProduct; });
    return states_.size() + static_cast<std::size_t>(ours);
}

std::uintptr_t ExchangeWorld::Open(Opened opened) {
    const std::uintptr_t handle = std::exchange(nextHandle_, nextHandle_ + 4);
    opened_[handle] = std::move(opened);
    return handle;
}

const ExchangeWorld::Opened* ExchangeWorld::Get(std::uintptr_t handle) const {
    const auto found = opened_.find(handle);
    return found == opened_.end() ? nullptr : &found->second;
}

Handle ExchangeWorld::CreateFileW(const std::u16string& path, std::uint32_t access, std::uint32_t shareMode,
                                  std::uint32_t, std::uint32_t flagsAndAttributes) {
    Step();
    const bool itself = (flagsAndAttributes & kFileFlagOpenReparsePoint) != 0;
    const Number file = Find(TypeConvert::UnicodeToUTF8(path), itself ? Last::kOpenItself : Last::kFollow);
    if (file == kNone || nodes_[file].kind != Kind::kFile) {
        return Fail(file == kNone ? kErrorFileNotFound : kErrorAccessDenied, kInvalidHandle);
    }
    if (Conflicts(file, access, shareMode)) {
        return Fail(kErrorSharingViolation, kInvalidHandle);
    }
    return Handle{Open({.byProduct = true, .file = file, .access = access, .share = shareMode, .process = {}})};
}

bool ExchangeWorld::CloseHandle(Handle handle) {
    Step();
    return opened_.erase(static_cast<std::uintptr_t>(handle)) == 1 || Fail(kErrorInvalidHandle, false);
}

std::uint32_t ExchangeWorld::GetFileAttributesW(const std::u16string& path) {
    Step();
    const Number node = Find(TypeConvert::UnicodeToUTF8(path), Last::kOpenItself);
    if (node == kNone) {
        return Fail(kErrorFileNotFound, kInvalidFileAttributes);
    }
    switch (nodes_[node].kind) {
        case Kind::kFolder:
            return kFileAttributeDirectory;
        case Kind::kJunction:
            return kFileAttributeDirectory | kFileAttributeReparsePoint;
        case Kind::kFile:
            break;
    }
    return kFileAttributeArchive;
}

Handle ExchangeWorld::OpenProcess(std::uint32_t, std::uint32_t processId) {
    Step();
    const auto found = processes_.find(processId);
    if (found == processes_.end()) {
        return Fail(kErrorInvalidParameter, kNullHandle);
    }
    return Handle{Open({.byProduct = true, .file = {}, .access = 0, .share = 0, .process = found->second})};
}

bool ExchangeWorld::GetProcessTimes(Handle process, FileTime& creation) {
    Step();
    const Opened* const opened = Get(static_cast<std::uintptr_t>(process));
    if (opened == nullptr || !opened->process) {
        return Fail(kErrorInvalidHandle, false);
    }
    creation = opened->process->startedAt;
    return true;
}

bool ExchangeWorld::QueryFullProcessImageNameW(Handle process, std::u16string& path) {
    Step();
    const Opened* const opened = Get(static_cast<std::uintptr_t>(process));
    if (opened == nullptr || !opened->process) {
        return Fail(kErrorInvalidHandle, false);
    }
    path = TypeConvert::UTF8ToUnicode(PathOf(opened->process->image));
    return true;
}

bool ExchangeWorld::GetFinalPathNameByHandleW(Handle file, std::uint32_t, std::u16string& path) {
    Step();
    const Opened* const opened = Get(static_cast<std::uintptr_t>(file));
    if (opened == nullptr || !opened->file) {
        return Fail(kErrorInvalidHandle, false);
    }
    path = u"\\\\?\\" + TypeConvert::UTF8ToUnicode(PathOf(*opened->file));
    return true;
}

std::int32_t ExchangeWorld::WinVerifyTrust(const TrustQuestion& question, TrustState& state) {
    Step();
    const Opened* const opened = Get(static_cast<std::uintptr_t>(question.file));
    const bool file = opened != nullptr && opened->file;
    const std::optional<std::u16string> signer = file ? nodes_[*opened->file].signer : std::nullopt;
    state = TrustState{std::exchange(nextHandle_, nextHandle_ + 4)};
    states_[static_cast<std::uintptr_t>(state)] = signer;
    return signer ? 0 : kNoSignature;
}

Certificate ExchangeWorld::SignerCertificate(TrustState state, std::uint32_t, std::uint32_t) {
    Step();
    const auto found = states_.find(static_cast<std::uintptr_t>(state));
    return found != states_.end() && found->second ? Certificate{found->first} : kNoCertificate;
}

std::u16string ExchangeWorld::CertGetNameStringW(Certificate certificate, const std::string&) {
    Step();
    const auto found = states_.find(static_cast<std::uintptr_t>(certificate));
    return found != states_.end() ? found->second.value_or(u"") : u"";
}

void ExchangeWorld::CloseTrustState(TrustState state) {
    Step();
    states_.erase(static_cast<std::uintptr_t>(state));
}

}  // namespace tavi::test
