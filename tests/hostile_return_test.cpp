// Tests how the platform handles replies to its connects, and to the reads that the platform sends when a television
// returns. The replies are late, are errors, or come from an earlier television.

#include "hostile_bus.h"

namespace test::hostile_return_test {

/// Keeps the calls of a method until `answer` replies to the calls.
struct HeldCalls {
    Answer hold() {
        return [this](sd_bus_message* call) {
            calls.emplace_back(sd_bus_message_ref(call));
            most = std::max(most, calls.size());
            return 1;
        };
    }
    void answer(Answer const& answer) {
        for (bus::Message const& call : std::exchange(calls, {})) {
            EXPECT_GE(answer(call.get()), 0);
        }
    }

    std::vector<bus::Message> calls{};
    std::size_t most = 0;
};

TEST_F(HostileBus, AConnectUsesTheReplyToAnEarlierAttempt) {
    HeldCalls held;
    RecordingObserver<std::string> observer;
    Object* object = nullptr;
    auto const connect = [&] { return root().connectObject("x", &observer, object); };
    Signal const change{"/nrx/Television1/model/x", PROPERTIES_INTERFACE, PROPERTIES_CHANGED,
                        makeBody("sa{sv}as", "nrx.Television1.String", 1, "Value", "s", "new", 0)};
    Answer const right = std::exchange(answersByMethod["x Type"], held.hold());
    for (int attempts = 0; attempts < 5; ++attempts) {
        EXPECT_EQ(serveDuring(connect), 122);
    }
    EXPECT_LT(held.calls.size(), 5U);
    held.answer(right);
    send(change);
    EXPECT_TRUE(received().empty() && observer.take().empty());  // A late reply registers no observer.
    EXPECT_EQ(serveDuring(connect), 0);
    EXPECT_TRUE(held.calls.empty());
    EXPECT_EQ(root().disconnectObject("x", &observer, object), 0);
    EXPECT_EQ(serveDuring(connect), 122);
    held.answer(replyWithError(SD_BUS_ERROR_UNKNOWN_OBJECT, ""));
    received();
    EXPECT_EQ(connect(), 104);  // Uses the earlier call's reply.
    answersByMethod["x Type"] = right;
    EXPECT_EQ(serveDuring(connect), 0);
    send(change);
    EXPECT_EQ(received(), Strings{});
    EXPECT_EQ(observer.take(), Strings{"new"});
    EXPECT_EQ(root().disconnectObject("x", &observer, object), 0);
}

TEST_F(HostileBus, ManyClientsReceiveTheChangesThatTheyMissed) {
    constexpr int COUNT = 700;  // Exceeds the bus's limits on a client's match rules and pending calls.
    std::vector<std::unique_ptr<Client<int>>> many;
    std::atomic<int> notified = 0;
    HeldCalls held;
    auto const answerAll = [&](Answer const& value) {
        for (int number = 0; number < COUNT; ++number) {
            answersByMethod["k" + std::to_string(number) + " Type"] = replyWith("v", "i", 1);
            answersByMethod["k" + std::to_string(number) + " Value"] = value;
        }
    };
    answerAll(replyWith("v", "i", 1));
    serveDuring([&] {
        for (int number = 0; number < COUNT; ++number) {
            many.push_back(std::make_unique<Client<int>>("k" + std::to_string(number)));
            many.back()->onReceived = [&notified] { ++notified; };
            EXPECT_EQ(many.back()->status, 0);
        }
    });
    answerAll(held.hold());
    replaceTelevision();
    while (held.calls.size() < 64) {
        received();
    }
    held.calls.clear();  // Drops these calls without a reply.
    replaceTelevision();
    for (std::size_t failed = 0; notified < COUNT;) {
        received();
        bool const fail = failed < 100;
        failed += fail ? held.calls.size() : 0;
        held.answer(fail ? replyWithError(SD_BUS_ERROR_LIMITS_EXCEEDED, "") : replyWith("v", "i", 2));
    }
    received();
    EXPECT_LE(held.most, 64U);
    for (auto const& each : many) {
        EXPECT_EQ(each->take(), Integers{2});
    }
}

TEST_F(HostileBus, AReadAfterTheReturnIsRepeatedUntilItSucceeds) {
    HeldCalls held;
    auto const replaceAndHoldRead = [&] {
        answersByMethod["l Value"] = held.hold();
        replaceTelevision();
        while (held.calls.empty()) {
            received();
        }
    };
    replaceAndHoldRead();
    EXPECT_GE(sd_bus_release_name(fakeTelevisionBus.get(), bus::SERVICE), 0);
    serveUntilDone([this] { return clients->list.statusOfRead() - 101; });
    held.answer(replyWithList({"of an earlier owner"}));
    auto const begin = std::chrono::steady_clock::now();
    EXPECT_GE(sd_bus_request_name(fakeTelevisionBus.get(), bus::SERVICE, 0), 0);
    for (std::size_t failed = 0; failed < 4;) {  // The pauses between the reads grow, and one log line appears.
        serveDuring([] { std::this_thread::sleep_for(std::chrono::milliseconds(1)); });  // No call wakes the platform.
        failed += held.calls.size();
        held.answer(replyWithError(SD_BUS_ERROR_LIMITS_EXCEEDED, ""));
    }
    answersByMethod["l Value"] = replyWithError(SD_BUS_ERROR_LIMITS_EXCEEDED, "");
    EXPECT_TRUE(std::chrono::steady_clock::now() - begin >= std::chrono::milliseconds(700) && log.take().size() == 1);
    auto const other = serveDuring([] { return std::make_unique<Client<Strings>>("l"); });
    answersByMethod["l Value"] = replyWithList({"missed"});
    for (Strings all; std::count(all.begin(), all.end(), "missed") == 0;) {
        received().swap(all);
        EXPECT_EQ(std::count(all.begin(), all.end(), "of an earlier owner"), 0);
    }

    replaceAndHoldRead();
    send(VALID_SIGNALS[0]);
    send({bus::MODEL_PATH, OBJECT_MANAGER_INTERFACE, INTERFACES_REMOVED,
          makeBody("oas", LIST_PATH, 1, bus::OBJECT_INTERFACE)});
    for (int times = 0; times < 2; ++times) {
        received();
        EXPECT_EQ(serveDuring([&] { return clients->list.write({"new"}); }), 106);
        held.answer(replyWithList({"late"}));
    }
    answersByMethod["l Value"] = replyWithList({});
    replaceTelevision();
    EXPECT_EQ(other->disconnect(), 0);
    received();
}

TEST_F(HostileBus, AChangeAfterTheReturnIsReceivedLast) {
    bool isRead = false;
    Answer const value = std::exchange(answersByMethod["l Value"], [&isRead](sd_bus_message* call) {
        isRead = true;
        return replyWithList({"earlier"})(call);
    });
    Answer const sync = std::exchange(answersByMethod[SYNC_METHOD], [&](sd_bus_message* call) {
        std::exchange(isRead, false) ? send(VALID_SIGNALS[0]) : void();
        return replyWith("")(call);
    });
    replaceTelevision();
    Strings all;
    for (Strings const& more : {received(), received(), received()}) {
        all.insert(all.end(), more.begin(), more.end());
    }
    EXPECT_EQ(all, (Strings{"x", "y", "ready 126 "}));
    answersByMethod["l Value"] = value;
    answersByMethod[SYNC_METHOD] = sync;
}

}  // namespace test::hostile_return_test
