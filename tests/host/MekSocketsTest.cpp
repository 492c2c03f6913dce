#include <MekHost/MekStatus.h>
#include <MekHost/process/MekEnvironment.h>
#include <MekHost/system/MekSockets.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "host/HostChild.h"
#include "support/WaitUntil.h"

namespace {

using Connection = std::unique_ptr<MekSockets>;

Connection AcceptFrom(MekSocketConnector& listener) {
    MekSockets* client = nullptr;
    EXPECT_EQ(listener.Select(-1), kMekOk);
    EXPECT_EQ(listener.Accept(&client), kMekOk);
    return Connection(client);
}

// A listener on a free port and one connection to it, both ends in this process.
struct Pair {
    Pair() {
        EXPECT_EQ(listener.Declare(), kMekOk);
        MekSockets* made = nullptr;
        EXPECT_EQ(MekSockets::Connect("127.0.0.1", listener.GetPort(), -1, &made), kMekOk);
        client.reset(made);
        server = AcceptFrom(listener);
    }

    MekSocketConnector listener{0, 1, 2};
    Connection client;
    Connection server;
};

// Receives until `bytes` have come or the connection ends.
std::string ReceiveAll(MekSockets& connection, std::size_t bytes = SIZE_MAX) {
    std::string all;
    std::string buffer(65536, '\0');
    std::size_t received = 0;
    while (all.size() < bytes &&
           connection.Receive(buffer.data(), std::min(buffer.size(), bytes - all.size()), -1,
                              &received) == kMekOk) {
        all.append(buffer, 0, received);
    }
    return all;
}

std::string Pattern(std::size_t bytes) {
    std::string pattern(bytes, '\0');
    for (std::size_t i = 0; i < bytes; ++i) {
        pattern[i] = static_cast<char>(i * 31 + (i >> 12));
    }
    return pattern;
}

TEST(MekSockets, AnswersWhatCannotBeWithAStatus) {
    MekSockets* made = nullptr;
    for (const char* const address : {"", "localhost", "1.2.3", "::1", "256.0.0.1"}) {
        EXPECT_EQ(MekSockets::Connect(address, 1, 0, &made), kMekInvalidParameter) << address;
    }
    Pair pair;
    EXPECT_EQ(MekSocketConnector(pair.listener.GetPort(), 1, 2).Declare(), kMekAddressInUse);
    EXPECT_EQ(pair.listener.Accept(&made), kMekTimeout);
    char byte = 0;
    std::size_t received = 77;
    EXPECT_EQ(pair.client->Receive(&byte, 0, -1, &received), kMekInvalidParameter);
    EXPECT_EQ(pair.client->Receive(&byte, 1, 1, &received), kMekTimeout);
    EXPECT_EQ(received, 0u);
    pair.client->Close();
    EXPECT_EQ(pair.client->Send(&byte, 1), kMekInvalidHandle);
    EXPECT_EQ(pair.client->Receive(&byte, 1, -1, &received), kMekInvalidHandle);
}

TEST(MekSocketConnector, ListensWhereTheEnvironmentSays) {
    struct {
        const char* address;
        std::int32_t declared;
        std::int32_t connected;
    } const kCases[] = {{"0.0.0.0", kMekOk, kMekOk},
                        {"127.0.0.2", kMekOk, kMekConnectionRefused},
                        {"everywhere", kMekInvalidParameter, kMekInvalidParameter},
                        {"192.0.2.1", kMekFailed, kMekInvalidParameter}};  // for documents only
    for (const auto& [address, declared, connected] : kCases) {
        MekPutEnv((std::string("ZelLogListenAddress=") + address).c_str());
        MekSocketConnector listener(0, 1, 2);
        MekPutEnv("ZelLogListenAddress=too late");
        EXPECT_EQ(listener.Declare(), declared) << address;
        MekSockets* client = nullptr;  // port 0 where nothing was declared
        EXPECT_EQ(MekSockets::Connect("127.0.0.1", listener.GetPort(), -1, &client), connected);
        delete client;
    }
    MekRemoveEnv("ZelLogListenAddress");
}

TEST(MekSockets, CarriesBytesToAnotherProcessAndBackUntilItDies) {
    MekSocketConnector listener(0, 1, 2);
    ASSERT_EQ(listener.Declare(), kMekOk);
    const std::string sent = Pattern(4 << 20);
    test::Start(test::kHostChild,
                {"echo", std::to_string(listener.GetPort()), std::to_string(sent.size())}, false);
    const Connection peer = AcceptFrom(listener);
    std::string back;
    std::thread receiver([&] { back = ReceiveAll(*peer, sent.size()); });
    std::size_t count = 0;
    EXPECT_EQ(peer->Send(sent.data(), sent.size(), &count), kMekOk);
    receiver.join();
    EXPECT_EQ(count, sent.size());
    EXPECT_TRUE(back == sent);
    EXPECT_EQ(peer->Receive(back.data(), 1, -1, &count), kMekDisconnected);
    EXPECT_EQ(count, 0u);
    // The system notices a dead peer with the first or second send.
    EXPECT_TRUE(test::WaitUntil([&] { return peer->Send("?", 1) == kMekDisconnected; }));
}

TEST(MekSockets, GivesUpASendToAPeerThatDoesNotRead) {
    const std::string sent = Pattern(16 << 20);  // more than the system's buffers take
    for (const int timeout : {0, 30}) {
        Pair pair;
        std::size_t count = 0;
        pair.server->SetSendTimeout(timeout);
        EXPECT_EQ(pair.server->Send(sent.data(), sent.size(), &count), kMekTimeout);
        EXPECT_GT(count, 0u);
        EXPECT_LT(count, sent.size());
        EXPECT_TRUE(ReceiveAll(*pair.client, count) == sent.substr(0, count));
    }
}

// The peer wrote something that nobody read; that must not cost it the end of the stream.
TEST(MekSockets, DeliversTheLastWordsThoughBytesWereUnread) {
    const std::string last = Pattern(100000) + "--last words--";
    for (int round = 0; round < 50; ++round) {
        Pair pair;
        pair.client->Send(last.data(), 5000);
        pair.server->Send(last.data(), last.size());
        pair.server.reset();
        EXPECT_TRUE(ReceiveAll(*pair.client) == last);
    }
}

// Close() ends what another thread is doing on the connection, wherever it has got to.
TEST(MekSockets, CloseEndsTheCallsOfOtherThreads) {
    const std::string block = Pattern(1 << 20);
    for (const bool sends : {true, false}) {
        for (int round = 0; round < 20; ++round) {
            Pair pair;
            std::atomic<bool> began{false};
            std::int32_t status = kMekOk;
            std::thread worker([&] {
                std::string buffer(block);
                std::size_t received = 0;
                began = true;
                while (status == kMekOk) {
                    status = sends ? pair.server->Send(block.data(), block.size())
                                   : pair.server->Receive(buffer.data(), 1, -1, &received);
                }
            });
            EXPECT_TRUE(test::WaitUntil([&] { return began.load(); }));
            pair.server->Close();
            worker.join();
            EXPECT_TRUE(status == kMekDisconnected || status == kMekInvalidHandle) << status;
        }
    }
}

}  // namespace
