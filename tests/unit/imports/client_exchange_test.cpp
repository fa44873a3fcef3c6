// Attacks on the check of a client: whatever is put in the place of a running program's file, and between whichever two
// calls, a program that the publisher did not sign is never taken for one that he did.
#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <string>
#include <vector>

#include "imports/digital_signature.h"
#include "sim/machine.h"
#include "support/exchange_world.h"
#include "support/platform_with.h"

namespace tavi::DigitalSignature {
namespace {

using test::ExchangeWorld;

constexpr std::uint32_t kClient = 4711;
constexpr std::uint32_t kGenuine = 4712;
constexpr char16_t kPublisher[] = u"The Publisher";

// One change of the drive, and what takes it back.
struct Exchange {
    const char* name;
    std::function<bool(ExchangeWorld&)> make;
    std::function<bool(ExchangeWorld&)> undo;
};

// The client's program is C:\Apps\Client\client.exe; the publisher's lies at C:\Other\Client\client.exe.
std::vector<Exchange> Exchanges() {
    const auto twoRenames = [](const char* name, std::string away, std::string aside, std::string other) {
        return Exchange{name,
                        [=](ExchangeWorld& world) { return world.Rename(away, aside) && world.Rename(other, away); },
                        [=](ExchangeWorld& world) { return world.Rename(away, other) && world.Rename(aside, away); }};
    };
    const auto junction = [](const char* name, std::string folder, std::string aside, std::string other) {
        return Exchange{
            name,
            [=](ExchangeWorld& world) { return world.Rename(folder, aside) && world.MakeJunction(folder, other); },
            [=](ExchangeWorld& world) { return world.RemoveJunction(folder) && world.Rename(aside, folder); }};
    };
    return {
        twoRenames("the file", "C:\\Apps\\Client\\client.exe", "C:\\Apps\\Client\\old.exe",
                   "C:\\Other\\Client\\client.exe"),
        twoRenames("its folder", "C:\\Apps\\Client", "C:\\Apps\\Old", "C:\\Other\\Client"),
        twoRenames("the folder above", "C:\\Apps", "C:\\Old", "C:\\Other"),
        junction("its folder for a junction", "C:\\Apps\\Client", "C:\\Apps\\Old", "C:\\Other\\Client"),
        junction("the folder above for a junction", "C:\\Apps", "C:\\Old", "C:\\Other"),
    };
}

struct Attack {
    explicit Attack(std::optional<std::u16string> clientsSigner = {}) {
        for (const char* folder : {"C:\\Apps", "C:\\Apps\\Client", "C:\\Other", "C:\\Other\\Client"}) {
            EXPECT_TRUE(world.MakeFolder(folder));
        }
        EXPECT_TRUE(world.MakeFile("C:\\Apps\\Client\\client.exe", std::move(clientsSigner)));
        EXPECT_TRUE(world.MakeFile("C:\\Other\\Client\\client.exe", kPublisher));
        EXPECT_TRUE(world.Run(kClient, "C:\\Apps\\Client\\client.exe"));
        // What runs cannot be opened for writing either: nothing tells the publisher's program from the client's here.
        EXPECT_TRUE(world.Run(kGenuine, "C:\\Other\\Client\\client.exe"));
    }

    bool Check() {
        platform::OwnedHandle client;
        const bool accepted =
            check.IsValidClient({.processId = kClient, .acceptedAt = world.GetSystemTimePreciseAsFileTime()}, client);
        EXPECT_EQ(client.IsValid(), accepted);
        client.Close();
        EXPECT_EQ(world.OpenObjects(), 0u);
        return accepted;
    }

    static sim::Machine& Machine() {
        static sim::Machine machine;
        return machine;
    }

    ExchangeWorld world{Machine().platform()};
    platform::Platform platform = test::PlatformWith(Machine().platform(), world);
    ClientCheck check{platform, kPublisher, [](const std::function<bool()>& calls) { return calls(); }};
};

std::size_t CallsOfACheck() {
    Attack attack(kPublisher);
    EXPECT_TRUE(attack.Check());
    return attack.world.calls();
}

TEST(ClientExchange, WithoutAnAttackThePublishersProgramIsAcceptedAndNoOther) {
    Attack genuine(kPublisher);
    EXPECT_TRUE(genuine.Check());
    Attack other;
    EXPECT_FALSE(other.Check());
    EXPECT_GE(CallsOfACheck(), 14u);
}

TEST(ClientExchange, ExchangedBeforeOneCallAndBackBeforeAnotherIsNeverAccepted) {
    const std::size_t calls = CallsOfACheck();
    for (const Exchange& exchange : Exchanges()) {
        int made = 0;
        for (std::size_t from = 0; from <= calls; ++from) {
            for (std::size_t until = from; until <= calls; ++until) {
                Attack attack;
                attack.world.beforeCall = [&](std::size_t call) {
                    made += call == from && exchange.make(attack.world) ? 1 : 0;
                    if (call == until && until != calls) {
                        exchange.undo(attack.world);
                    }
                };
                ASSERT_FALSE(attack.Check()) << exchange.name << " from " << from << " until " << until;
            }
        }
        EXPECT_GT(made, 50) << exchange.name << ": the attack must take place";
    }
}

TEST(ClientExchange, AFileThatSomebodyKeepsFromBeingWrittenIsNotTakenForOneThatRuns) {
    const std::size_t calls = CallsOfACheck();
    for (const Exchange& exchange : Exchanges()) {
        for (std::size_t from = 0; from <= calls; ++from) {
            for (std::size_t until = from; until <= calls; ++until) {
                Attack attack;
                attack.world.End(kGenuine);
                ASSERT_TRUE(attack.world.HoldAgainstWriting("C:\\Other\\Client\\client.exe"));
                attack.world.beforeCall = [&](std::size_t call) {
                    if (call == from) {
                        attack.world.LetGoOfEverything();
                        exchange.make(attack.world);
                        attack.world.HoldAgainstWriting("C:\\Apps\\Client\\client.exe");
                    }
                    if (call == until && until != calls) {
                        attack.world.LetGoOfEverything();
                        exchange.undo(attack.world);
                    }
                };
                ASSERT_FALSE(attack.Check()) << exchange.name << " from " << from << " until " << until;
            }
        }
    }
}

TEST(ClientExchange, AnySeriesOfExchangesEndsInARefusal) {
    const std::vector<Exchange> exchanges = Exchanges();
    std::mt19937 random(7);
    for (int round = 0; round < 20'000; ++round) {
        Attack attack;
        attack.world.beforeCall = [&](std::size_t) {
            while (random() % 3 == 0) {
                const Exchange& exchange = exchanges[random() % exchanges.size()];
                (random() % 2 == 0 ? exchange.make : exchange.undo)(attack.world);
            }
        };
        ASSERT_FALSE(attack.Check()) << "round " << round;
    }
}

// The one that connected ends, and a genuine client is started that gets its number.
TEST(ClientExchange, AProcessThatTookOverTheNumberIsRefused) {
    const std::size_t calls = CallsOfACheck();
    int changed = 0;
    for (std::size_t at = 0; at < calls; ++at) {
        Attack attack;
        attack.world.beforeCall = [&](std::size_t call) {
            if (call == at) {
                attack.world.End(kClient);
                changed += attack.world.Run(kClient, "C:\\Other\\Client\\client.exe") ? 1 : 0;
            }
        };
        ASSERT_FALSE(attack.Check()) << "at call " << at;
    }
    EXPECT_GE(changed, 1);
}

}  // namespace
}  // namespace tavi::DigitalSignature
