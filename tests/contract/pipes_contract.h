// What Pipes, and Files on a pipe's handle, promise of a message-mode pipe with one instance. The client's end is
// opened with CreateFileW, by the same process.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "contract/world.h"

namespace tavi::contract {

template <typename World>
class PipesContract : public testing::Test {
protected:
    void SetUp() override { CreateSecured(); }
    void TearDown() override {
        server.Close();
        parts.pipes.LocalFree(descriptor);
        parts.pipes.FreeAcl(acl);
        parts.pipes.FreeSid(local);
    }

    // As a service creates it: a descriptor that lets local programs read and write.
    void CreateSecured() {
        platform::Pipes& pipes = parts.pipes;
        ASSERT_TRUE(pipes.AllocateAndInitializeSid({0, 0, 0, 0, 0, 2}, std::array{platform::kSecurityLocalRid}, local));
        platform::ExplicitAccess entry;
        entry.accessPermissions = platform::kGenericRead | platform::kGenericWrite;
        entry.accessMode = platform::kSetAccess;
        entry.inheritance = platform::kNoInheritance;
        entry.trusteeForm = platform::kTrusteeIsSid;
        entry.trusteeType = platform::kTrusteeIsWellKnownGroup;
        entry.sid = local;
        ASSERT_EQ(pipes.SetEntriesInAclW(std::span(&entry, 1), acl), platform::kErrorSuccess);
        ASSERT_NE(acl, platform::kNoAcl);
        descriptor = pipes.LocalAlloc(platform::kLptr, platform::kSecurityDescriptorMinLength);
        ASSERT_NE(descriptor, platform::kNoLocalMemory);
        ASSERT_TRUE(pipes.InitializeSecurityDescriptor(descriptor, platform::kSecurityDescriptorRevision));
        ASSERT_TRUE(pipes.SetSecurityDescriptorDacl(descriptor, true, acl, false));
        server = platform::OwnedHandle(parts.files, Create());
        ASSERT_TRUE(server.IsValid());
    }
    platform::Handle Create(std::uint32_t instances = 1) {
        platform::SecurityAttributes attributes;
        attributes.securityDescriptor = descriptor;
        return parts.pipes.CreateNamedPipeW(
            kName, platform::kPipeAccessDuplex,
            platform::kPipeTypeMessage | platform::kPipeReadModeMessage | platform::kPipeRejectRemoteClients, instances,
            4096, 4096, 0, attributes);
    }
    platform::OwnedHandle OpenClient() {
        return {parts.files, parts.files.CreateFileW(kName, platform::kGenericRead | platform::kGenericWrite, 0,
                                                     platform::kOpenExisting, 0)};
    }
    // Connects a client from a second thread, as the connecting blocks on both sides until the other is there.
    platform::OwnedHandle Connect() {
        platform::OwnedHandle client;
        const platform::Handle thread = parts.threads.StartThread([this, &client] {
            // Until the server listens there is nobody to connect to.
            for (int i = 0; i < 1000 && !client.IsValid(); ++i) {
                parts.threads.Sleep(5);
                client = OpenClient();
            }
        });
        const bool connected = parts.pipes.ConnectNamedPipe(server.Get());
        const std::uint32_t code = parts.errors.GetLastError();
        EXPECT_TRUE(connected || code == platform::kErrorPipeConnected) << code;
        EXPECT_TRUE(parts.threads.WaitForThread(thread, 30000));
        parts.threads.CloseThread(thread);
        EXPECT_TRUE(client.IsValid());
        return client;
    }
    // Again and again, as a call that has not begun yet cannot be cancelled.
    void CancelUntilItEnds(platform::Handle thread) {
        int tries = 0;
        while (!parts.threads.WaitForThread(thread, 20) && ++tries < 500) {
            parts.threads.CancelSynchronousIo(thread);
        }
        parts.threads.CloseThread(thread);
    }
    std::string Read(std::size_t bufferBytes, std::uint32_t expectedCode) {
        bool done = false;
        const std::string text = ReadOnce(parts.files, server.Get(), bufferBytes, done);
        const std::uint32_t code = done ? 0 : parts.errors.GetLastError();
        EXPECT_EQ(code, expectedCode);
        return text;
    }

    static constexpr char16_t kName[] = u"\\\\.\\pipe\\TaviPlatformContract";
    World world;
    platform::Platform parts = world.Parts();
    platform::Sid local = platform::kNoSid;
    platform::Acl acl = platform::kNoAcl;
    platform::LocalMemory descriptor = platform::kNoLocalMemory;
    platform::OwnedHandle server;
};

TYPED_TEST_SUITE_P(PipesContract);

TYPED_TEST_P(PipesContract, EveryWriteIsOneMessage) {
    const platform::OwnedHandle client = this->Connect();
    EXPECT_TRUE(WriteAll(this->parts.files, client.Get(), "first"));
    EXPECT_TRUE(WriteAll(this->parts.files, client.Get(), "second"));
    EXPECT_EQ(this->Read(4096, 0), "first");
    EXPECT_EQ(this->Read(4096, 0), "second");
}

TYPED_TEST_P(PipesContract, AMessageLargerThanTheBufferComesInPartsWithItsCode) {
    const platform::OwnedHandle client = this->Connect();
    EXPECT_TRUE(WriteAll(this->parts.files, client.Get(), "0123456789"));
    EXPECT_EQ(this->Read(4, platform::kErrorMoreData), "0123");
    EXPECT_EQ(this->Read(4, platform::kErrorMoreData), "4567");
    EXPECT_EQ(this->Read(4, 0), "89");
}

TYPED_TEST_P(PipesContract, WhatTheServerWritesTheClientReads) {
    const platform::OwnedHandle client = this->Connect();
    EXPECT_TRUE(WriteAll(this->parts.files, this->server.Get(), "reply"));
    bool done = false;
    EXPECT_EQ(ReadOnce(this->parts.files, client.Get(), 100, done), "reply");
    EXPECT_TRUE(done);
}

TYPED_TEST_P(PipesContract, TheClientsProcessIsKnownWhileItIsConnected) {
    const platform::OwnedHandle client = this->Connect();
    std::uint32_t processId = 0;
    EXPECT_TRUE(this->parts.pipes.GetNamedPipeClientProcessId(this->server.Get(), processId));
    EXPECT_NE(processId, 0u);
}

TYPED_TEST_P(PipesContract, AClientThatClosesEndsTheRead) {
    platform::OwnedHandle client = this->Connect();
    EXPECT_TRUE(WriteAll(this->parts.files, client.Get(), "last words"));
    client.Close();
    EXPECT_EQ(this->Read(100, 0), "last words");
    EXPECT_EQ(this->Read(100, platform::kErrorBrokenPipe), "");
}

TYPED_TEST_P(PipesContract, AClientThatCameFirstIsReportedAsConnected) {
    const platform::OwnedHandle client = this->OpenClient();
    ASSERT_TRUE(client.IsValid());
    EXPECT_FALSE(this->parts.pipes.ConnectNamedPipe(this->server.Get()));
    EXPECT_EQ(this->parts.errors.GetLastError(), platform::kErrorPipeConnected);
}

TYPED_TEST_P(PipesContract, AfterADisconnectTheNextClientIsServed) {
    {
        const platform::OwnedHandle client = this->Connect();
        EXPECT_TRUE(WriteAll(this->parts.files, this->server.Get(), "x"));
        bool done = false;
        EXPECT_EQ(ReadOnce(this->parts.files, client.Get(), 10, done), "x");
        EXPECT_TRUE(this->parts.files.FlushFileBuffers(this->server.Get()));
        EXPECT_TRUE(this->parts.pipes.DisconnectNamedPipe(this->server.Get()));
        EXPECT_FALSE(WriteAll(this->parts.files, client.Get(), "y"));
        EXPECT_EQ(this->parts.errors.GetLastError(), platform::kErrorPipeNotConnected);
    }
    const platform::OwnedHandle next = this->Connect();
    EXPECT_TRUE(WriteAll(this->parts.files, next.Get(), "next"));
    EXPECT_EQ(this->Read(100, 0), "next");
}

TYPED_TEST_P(PipesContract, WithoutAFreeInstanceAClientIsTurnedAway) {
    const platform::OwnedHandle client = this->Connect();
    EXPECT_FALSE(this->OpenClient().IsValid());
    EXPECT_EQ(this->parts.errors.GetLastError(), platform::kErrorPipeBusy);
}

TYPED_TEST_P(PipesContract, AClosedPipeIsNotThere) {
    this->server.Close();
    EXPECT_FALSE(this->OpenClient().IsValid());
    EXPECT_EQ(this->parts.errors.GetLastError(), platform::kErrorFileNotFound);
}

TYPED_TEST_P(PipesContract, ThereIsOneInstance) {
    EXPECT_EQ(this->Create(), platform::kInvalidHandle);
    EXPECT_EQ(this->parts.errors.GetLastError(), platform::kErrorPipeBusy);
}

TYPED_TEST_P(PipesContract, EachEndOfAPipeIsTold) {
    const platform::OwnedHandle client = this->Connect();
    std::uint32_t flags = 0;
    std::uint32_t instances = 0;
    ASSERT_TRUE(this->parts.pipes.GetNamedPipeInfo(this->server.Get(), flags, instances));
    EXPECT_EQ(flags & platform::kPipeServerEnd, platform::kPipeServerEnd);
    EXPECT_EQ(instances, 1u);
    ASSERT_TRUE(this->parts.pipes.GetNamedPipeInfo(client.Get(), flags, instances));
    EXPECT_EQ(flags & platform::kPipeServerEnd, 0u);
    EXPECT_FALSE(this->parts.pipes.GetNamedPipeInfo(platform::kInvalidHandle, flags, instances));
}

// Whoever comes first decides how many instances a name has. One who comes second, and asks for one, gets one more.
TYPED_TEST_P(PipesContract, AFurtherInstanceShowsHowManyTheFirstCreatorAllowed) {
    this->server.Close();
    for (const std::uint32_t allowed : {2u, 255u}) {
        const platform::OwnedHandle first(this->parts.files, this->Create(allowed));
        ASSERT_TRUE(first.IsValid());
        const platform::OwnedHandle second(this->parts.files, this->Create(1));
        ASSERT_TRUE(second.IsValid()) << this->parts.errors.GetLastError();
        std::uint32_t flags = 0;
        std::uint32_t instances = 0;
        ASSERT_TRUE(this->parts.pipes.GetNamedPipeInfo(second.Get(), flags, instances));
        EXPECT_EQ(flags & platform::kPipeServerEnd, platform::kPipeServerEnd);
        // Without a limit is 255, or what the system keeps for it itself.
        EXPECT_TRUE(instances == allowed || (allowed == 255 && instances == 0xFFFFFFFF)) << instances;
    }
    const platform::OwnedHandle first(this->parts.files, this->Create(1));
    ASSERT_TRUE(first.IsValid());
    EXPECT_EQ(this->Create(1), platform::kInvalidHandle);
    EXPECT_EQ(this->parts.errors.GetLastError(), platform::kErrorPipeBusy);
}

// Cancelled again and again until it ends, as a call that has not begun yet cannot be cancelled.
TYPED_TEST_P(PipesContract, ABlockedConnectEndsWhenItIsCancelled) {
    std::uint32_t code = 0;
    bool connected = true;
    const platform::Handle thread = this->parts.threads.StartThread([this, &code, &connected] {
        connected = this->parts.pipes.ConnectNamedPipe(this->server.Get());
        code = this->parts.errors.GetLastError();
    });
    int tries = 0;
    while (!this->parts.threads.WaitForThread(thread, 20) && ++tries < 500) {
        this->parts.threads.CancelSynchronousIo(thread);
    }
    this->parts.threads.CloseThread(thread);
    EXPECT_FALSE(connected);
    EXPECT_EQ(code, platform::kErrorOperationAborted);
}

TYPED_TEST_P(PipesContract, ABlockedReadEndsWhenItIsCancelled) {
    const platform::OwnedHandle client = this->Connect();
    std::uint32_t code = 0;
    bool done = true;
    const platform::Handle thread = this->parts.threads.StartThread([this, &code, &done] {
        ReadOnce(this->parts.files, this->server.Get(), 100, done);
        code = this->parts.errors.GetLastError();
    });
    int tries = 0;
    while (!this->parts.threads.WaitForThread(thread, 20) && ++tries < 500) {
        this->parts.threads.CancelSynchronousIo(thread);
    }
    this->parts.threads.CloseThread(thread);
    EXPECT_FALSE(done);
    EXPECT_EQ(code, platform::kErrorOperationAborted);
    EXPECT_TRUE(WriteAll(this->parts.files, client.Get(), "still connected"));
    EXPECT_EQ(this->Read(100, 0), "still connected");
}

// Which fills what the pipe holds for a client that does not read.
TYPED_TEST_P(PipesContract, ABlockedWriteEndsWhenItIsCancelled) {
    const platform::OwnedHandle client = this->Connect();
    const std::string message(1024, 'x');
    std::uint32_t code = 0;
    bool done = true;
    const platform::Handle thread = this->parts.threads.StartThread([this, &message, &code, &done] {
        for (int i = 0; i < 100 && done; ++i) {
            done = WriteAll(this->parts.files, this->server.Get(), message);
        }
        code = this->parts.errors.GetLastError();
    });
    this->CancelUntilItEnds(thread);
    EXPECT_FALSE(done);
    EXPECT_EQ(code, platform::kErrorOperationAborted);
}

TYPED_TEST_P(PipesContract, ABlockedFlushEndsWhenItIsCancelled) {
    const platform::OwnedHandle client = this->Connect();
    EXPECT_TRUE(WriteAll(this->parts.files, this->server.Get(), "never read"));
    std::uint32_t code = 0;
    bool done = true;
    const platform::Handle thread = this->parts.threads.StartThread([this, &code, &done] {
        done = this->parts.files.FlushFileBuffers(this->server.Get());
        code = this->parts.errors.GetLastError();
    });
    this->CancelUntilItEnds(thread);
    EXPECT_FALSE(done);
    EXPECT_EQ(code, platform::kErrorOperationAborted);
}

REGISTER_TYPED_TEST_SUITE_P(PipesContract, EveryWriteIsOneMessage, AMessageLargerThanTheBufferComesInPartsWithItsCode,
                            WhatTheServerWritesTheClientReads, TheClientsProcessIsKnownWhileItIsConnected,
                            AClientThatClosesEndsTheRead, AClientThatCameFirstIsReportedAsConnected,
                            AfterADisconnectTheNextClientIsServed, WithoutAFreeInstanceAClientIsTurnedAway,
                            AClosedPipeIsNotThere, ThereIsOneInstance, ABlockedConnectEndsWhenItIsCancelled,
                            ABlockedReadEndsWhenItIsCancelled, EachEndOfAPipeIsTold,
                            AFurtherInstanceShowsHowManyTheFirstCreatorAllowed, ABlockedWriteEndsWhenItIsCancelled,
                            ABlockedFlushEndsWhenItIsCancelled);

}  // namespace tavi::contract
