// Changes of the drive between the calls of the client check, in any number and order: a program that the publisher did
// not sign is never accepted, whatever is put in its place, and neither is a process that took over its number. Three
// bytes make a change: how many calls later and what, and two of the paths.
#include <array>
#include <cstdlib>
#include <span>
#include <string_view>

#include "imports/digital_signature.h"
#include "sim/machine.h"
#include "support/exchange_world.h"
#include "support/platform_with.h"

namespace {

using tavi::test::ExchangeWorld;

constexpr std::uint32_t kClient = 4711;
constexpr std::uint32_t kGenuine = 4712;
constexpr std::size_t kBytesPerChange = 3;

constexpr std::array<std::string_view, 16> kPaths = {
    "C:\\Apps",
    "C:\\Old",
    "C:\\Other",
    "C:\\Apps\\Client",
    "C:\\Apps\\Old",
    "C:\\Other\\Client",
    "C:\\Other\\Old",
    "C:\\Old\\Client",
    "C:\\Apps\\Client\\client.exe",
    "C:\\Apps\\Client\\old.exe",
    "C:\\Apps\\Old\\client.exe",
    "C:\\Other\\Client\\client.exe",
    "C:\\Other\\Client\\old.exe",
    "C:\\Other\\client.exe",
    "C:\\Apps\\client.exe",
    "C:\\client.exe",
};

void Require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

void Change(ExchangeWorld& world, unsigned what, std::string_view first, std::string_view second) {
    switch (what) {
        case 0:
            world.MakeJunction(first, second);
            return;
        case 1:
            world.RemoveJunction(first);
            return;
        case 2:
            world.HoldAgainstWriting(first);
            return;
        case 3:
            world.LetGoOfEverything();
            return;
        case 4:
            world.End(kClient);
            return;
        case 5:
            world.Run(kClient, first);
            return;
        case 6:
            world.End(kGenuine);
            return;
        case 7:
            world.Run(kGenuine, first);
            return;
        default:
            world.Rename(first, second);
    }
}

class Changes {
public:
    explicit Changes(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

    void BeforeCall(ExchangeWorld& world) {
        while (bytes_.size() >= kBytesPerChange && wait_ == 0) {
            const unsigned what = bytes_[0] & 0x0FU;
            Change(world, what, kPaths[bytes_[1] & 0x0FU], kPaths[bytes_[2] & 0x0FU]);
            bytes_ = bytes_.subspan(kBytesPerChange);
            wait_ = bytes_.empty() ? 0 : bytes_[0] >> 4U;
        }
        wait_ -= wait_ == 0 ? 0 : 1;
    }

private:
    std::span<const std::uint8_t> bytes_;
    unsigned wait_ = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static tavi::sim::Machine machine;
    const tavi::platform::Platform real = machine.platform();
    ExchangeWorld world(real);
    for (const char* folder : {"C:\\Apps", "C:\\Apps\\Client", "C:\\Other", "C:\\Other\\Client"}) {
        Require(world.MakeFolder(folder));
    }
    Require(world.MakeFile("C:\\Apps\\Client\\client.exe"));
    Require(world.MakeFile("C:\\Other\\Client\\client.exe", u"The Publisher"));
    Require(world.Run(kClient, "C:\\Apps\\Client\\client.exe"));
    Require(world.Run(kGenuine, "C:\\Other\\Client\\client.exe"));

    tavi::platform::Platform platform = tavi::test::PlatformWith(real, world);
    tavi::DigitalSignature::ClientCheck check(platform, u"The Publisher", [](const auto& calls) { return calls(); });
    Changes changes({data, size});
    world.beforeCall = [&](std::size_t) { changes.BeforeCall(world); };
    tavi::platform::OwnedHandle client;
    Require(!check.IsValidClient({.processId = kClient, .acceptedAt = world.GetSystemTimePreciseAsFileTime()}, client));
    Require(!client.IsValid() && world.OpenObjects() == 0);
    return 0;
}
