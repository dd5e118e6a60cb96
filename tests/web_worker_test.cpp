// Tests the worker thread, which uses the facade for pages. The tests have a simulated television and no web engine.

#include <gmock/gmock.h>

#include <condition_variable>
#include <future>
#include <mutex>

#include "failing_allocations.h"
#include "nrx_service/nrx_proxy/nrx_model_access/model_keys.h"
#include "simulator/television.h"
#include "television/status.h"
#include "web/calls.h"
#include "web/facade_worker.h"
#include "web/status.h"

namespace web::web_worker_test {

using orvane::model_keys::COMMAND;
using orvane::model_keys::EVENT;
using testing::ElementsAre;
using namespace std::chrono_literals;
using namespace std::string_literals;
using Strings = std::vector<std::string>;

/// The test's thread, which runs the tasks that other threads post.
class MainThread {
public:
    void post(std::function<void()> task) {
        std::lock_guard const lock(mutex_);
        tasks_.push_back(std::move(task));
        posted_.notify_one();
    }

    template <typename Condition>
    void runUntil(Condition const& condition) {
        while (!condition()) {
            test::ScopedThreadAllocationSuccess const memory;
            std::unique_lock lock(mutex_);
            posted_.wait_for(lock, 1ms, [this] { return !tasks_.empty(); });  // The condition may need no task.
            auto const tasks = std::exchange(tasks_, {});
            lock.unlock();
            for (auto const& task : tasks) {
                task();
            }
        }
    }

private:
    std::mutex mutex_;
    std::condition_variable posted_;
    std::vector<std::function<void()>> tasks_;
};

class FacadeWorkerTest : public testing::Test {
public:
    /// A document without a script. The test itself receives the document's lists.
    struct Document {
        explicit Document(FacadeWorkerTest& test)
            : worker(test.worker), queue(std::make_shared<ListQueue>([self = self, &main = test.main] {
                  main.post([self] { *self != nullptr ? (*self)->take() : void(); });
              })) {
            worker->attach(queue);
        }
        Document(Document const&) = delete;
        Document& operator=(Document const&) = delete;
        ~Document() {
            *self = nullptr;
            worker != nullptr ? worker->detach(*queue) : void();
        }
        void take() {
            while (auto const event = queue->pop()) {
                received.push_back(LIST_NAMES.at(indexOf(event->type)) + *event->list);
            }
        }
        std::shared_ptr<Document*> const self = std::make_shared<Document*>(this);
        std::unique_ptr<FacadeWorker>& worker;
        std::shared_ptr<ListQueue> const queue;
        Strings received;
    };

    FacadeWorkerTest() {
        television.publish(COMMAND, Strings{});
        television.publish(EVENT, Strings{});
    }

    Answer call(Document& document, std::string const& name, std::string const& json) {
        FacadeWorker::Operation operation;
        if (int const status = parseCall(name.c_str(), json.c_str(), operation); status != 0) {
            return {status, ""};
        }
        std::optional<Answer> answer;
        worker->call(document.queue, operation, [&](Answer const& given) { answer = given; });
        main.runUntil([&] { return answer.has_value(); });
        return *answer;
    }

    /// Makes a call, and returns when the call has been answered or an allocation has failed.
    void begin(Document& document, std::string const& name, std::string const& json) {
        FacadeWorker::Operation operation;
        EXPECT_EQ(parseCall(name, json, operation), 0);
        auto const answer = std::make_shared<std::optional<Answer>>();
        worker->call(document.queue, operation, [answer](Answer const& given) { *answer = given; });
        pending = answer;
        main.runUntil([this] { return pending->has_value() || test::ScopedAllocationFailure::hasHappened(); });
    }

    std::shared_ptr<std::optional<Answer>> pending;
    simulator::Television television;
    MainThread main;
    std::unique_ptr<FacadeWorker> worker =
        std::make_unique<FacadeWorker>([this](std::function<void()> task) { main.post(std::move(task)); });
};

TEST_F(FacadeWorkerTest, DocumentsReceiveTheListsThatTheyListenTo) {
    Document one(*this);
    Document two(*this);
    worker->listen(*one.queue, ListType::COMMAND, true);
    worker->listen(*two.queue, ListType::COMMAND, true);
    worker->listen(*two.queue, ListType::EVENT, true);
    ASSERT_EQ(call(one, "get", R"(["event"])").status, 0);  // Returns when both lists are connected.
    television.set(COMMAND, Strings{"a\0b"s, "\"\\\xff\xc3\xa4"});
    television.set(EVENT, Strings{});
    television.waitUntilDelivered();
    worker->listen(*two.queue, ListType::COMMAND, false);
    television.set(COMMAND, Strings{"second"});
    television.waitUntilDelivered();
    worker->detach(*one.queue);
    television.set(COMMAND, Strings{"third"});
    television.set(EVENT, Strings{"last"});
    main.runUntil([&] { return two.received.size() == 3; });
    std::string const first = "command[\"a\\u0000b\",\"\\\"\\\\\xef\xbf\xbd\xc3\xa4\"]";
    EXPECT_THAT(two.received, ElementsAre(first, "event[]", "event[\"last\"]"));
    EXPECT_THAT(one.received, testing::Not(testing::Contains("command[\"third\"]")));
}

TEST_F(FacadeWorkerTest, CallsHaveTheModelsOwnStatus) {
    Document document(*this);
    struct Row {
        std::string name;
        std::string json;
        int status;
        std::string value{};
    };
    for (Row const& row : {
             Row{"set", R"(["event",["a\u0000b","ä"]])", 0},
             Row{"get", R"(["event"])", 0, R"(["a\u0000b","ä"])"},
             Row{"set", R"(["event",["\ud800"]])", television::STATUS_NOT_CARRIED},
             Row{"set", R"(["event","text"])", television::STATUS_NOT_CARRIED},
             Row{"set", R"(["event",["text",1]])", television::STATUS_NOT_CARRIED},
             Row{"set", R"(["event"])", television::STATUS_NOT_CARRIED},
             Row{"set", "[[", television::STATUS_NOT_CARRIED},
             Row{"get", R"(["torvi.sl2.str.orvfactory.software.version"])", television::STATUS_NOT_SUPPORTED},
             Row{"delete", R"(["event"])", television::STATUS_NOT_SUPPORTED},
             Row{"set", R"(["event",[")" + std::string(MAX_WRITTEN_LIST_BYTES, 'x') + "\"]]", 0},
             Row{"set", R"(["event",[")" + std::string(MAX_WRITTEN_LIST_BYTES, 'x') + "\",\"\"]]", STATUS_TOO_LARGE},
             Row{"device", "[]", 0, R"({"deviceId":null,"featureCode":null,"modelName":null,"softwareVersion":""})"},
             Row{"requestStartService", "[]", 0},
         }) {
        SCOPED_TRACE(row.json.substr(0, 60));
        if (row.name == "device") {
            television.publish(orvane::model_keys::SOFTWARE_VERSION, std::string());
            television.publish(orvane::model_keys::PRODUCTION_TYPE, 1);
            television.publish(orvane::model_keys::FEATURE_CODE, std::string("half"));
            television.failReads(orvane::model_keys::FEATURE_CODE, {7, true});
        }
        Answer const answer = call(document, row.name, row.json);
        EXPECT_EQ(std::pair(answer.status, answer.json), std::pair(row.status, row.value));
    }
    television.withdraw(EVENT);
    EXPECT_EQ(call(document, "set", R"(["event",[]])").status, television::STATUS_WITHDRAWN);
    EXPECT_EQ(call(document, "get", R"(["event"])").status, television::STATUS_WITHDRAWN);
    television.throwFrom(COMMAND, simulator::Call::write);
    EXPECT_EQ(call(document, "set", R"(["command",[]])").status, television::STATUS_NO_RESOURCES);
}

TEST_F(FacadeWorkerTest, ListsAreConnectedAgainWhileADocumentListens) {
    auto const attempts = [this] { return television.counts(COMMAND).connectAttempts; };
    television.withdraw(COMMAND);
    Document document(*this);
    ASSERT_EQ(call(document, "get", R"(["command"])").status, 5);
    int const before = attempts();
    ASSERT_EQ(call(document, "get", R"(["event"])").status, 0);
    EXPECT_EQ(attempts(), before);  // No document listens to the command list.
    worker->listen(*document.queue, ListType::COMMAND, true);
    main.runUntil([&] { return attempts() > before; });  // The worker makes the next attempt without a call.
    EXPECT_EQ(call(document, "get", R"(["command"])").status, 5);
    EXPECT_GE(attempts(), before + 1 + 10);  // A read still makes all of its 10 attempts.
    television.publish(COMMAND, Strings{});
    main.runUntil([&] { return television.registrations(COMMAND) > 0; });
    television.set(COMMAND, Strings{"late"});
    main.runUntil([&] { return !document.received.empty(); });
    EXPECT_THAT(document.received, ElementsAre("command[\"late\"]"));
}

TEST_F(FacadeWorkerTest, CallsOfADetachedDocumentAreDropped) {
    std::promise<void> isInvoked;
    std::promise<void> isGone;
    television.publishAction(orvane::model_keys::SOURCE_SWITCH, [&](auto const&) -> simulator::ActionAnswer {
        isInvoked.set_value();
        isGone.get_future().wait();
        return {};
    });
    Document gone(*this);
    FacadeWorker::Operation operation;
    bool isAnswered = false;
    ASSERT_EQ(parseCall("requestStartService", "[]", operation), 0);
    worker->call(gone.queue, operation, [](Answer const&) {});
    isInvoked.get_future().wait();
    ASSERT_EQ(parseCall("set", R"(["event",["never"]])", operation), 0);
    worker->call(gone.queue, operation, [&](Answer const&) { isAnswered = true; });
    worker->detach(*gone.queue);
    worker->detach(*Document(*this).queue);
    Document next(*this);
    isGone.set_value();
    ASSERT_EQ(call(next, "get", R"(["event"])").status, 0);
    EXPECT_EQ(television.counts(EVENT).writes, 0);
    EXPECT_EQ(television.counts(EVENT).connectAttempts, 2);  // The temporary document's session never starts.
    EXPECT_FALSE(isAnswered);
    EXPECT_EQ(television.registrations(COMMAND), 1);  // The registration belongs to the session of `next`.
    worker->detach(*next.queue);
    worker = nullptr;
    EXPECT_EQ(television.registrations(COMMAND), 0);
}

TEST_F(FacadeWorkerTest, AnyAllocationMayFail) {
#ifdef NRX_THREAD_SANITIZER
    GTEST_SKIP() << "the sanitizer itself needs memory";
#endif
    using Step = std::pair<char const*, void (*)(FacadeWorkerTest & test, Document & document)>;
    constexpr Step STEPS[] = {
        {"get", [](FacadeWorkerTest& test, Document& document) { test.begin(document, "get", R"(["event"])"); }},
        {"set", [](FacadeWorkerTest& test, Document& document) { test.begin(document, "set", R"(["event",["a"]])"); }},
        {"device", [](FacadeWorkerTest& test, Document& document) { test.begin(document, "device", "[]"); }},
        {"list",
         [](FacadeWorkerTest& test, Document& /*document*/) {
             test.television.set(COMMAND, Strings{"a list that is too long for the string itself"});
             test.television.waitUntilDelivered();
         }},
        {"attach", [](FacadeWorkerTest& test, Document& /*document*/) { Document const other(test); }},
        {"detach",
         [](FacadeWorkerTest& test, Document& document) {
             EXPECT_NO_THROW(test.worker->detach(*document.queue));
             Document const other(test);
         }},
    };
    test::failEachAllocation(STEPS, [this](Step const& step, int allocations, bool lasts) {
        bool hasNoFailedAllocation = false;
        auto const document = std::make_unique<Document>(*this);
        worker->listen(*document->queue, ListType::COMMAND, true);
        EXPECT_EQ(call(*document, "get", R"(["event"])").status, 0);
        {
            test::ScopedAllocationFailure const failure(allocations, lasts);
            try {
                step.second(*this, *document);
            } catch (std::bad_alloc const&) {
            }
            hasNoFailedAllocation = !test::ScopedAllocationFailure::hasHappened();
        }
        main.runUntil([this] { return pending == nullptr || pending->has_value(); });
        pending = nullptr;
        Document next(*this);
        worker->listen(*next.queue, ListType::COMMAND, true);
        EXPECT_EQ(call(next, "get", R"(["command"])").status, 0);
        television.set(COMMAND, Strings{"next"});
        main.runUntil([&next] { return !next.received.empty(); });
        EXPECT_EQ(next.received.back(), "command[\"next\"]");
        worker->detach(*next.queue);
        worker->detach(*document->queue);
        stress::waitUntil([this] { return television.registrations(COMMAND) + television.registrations(EVENT) == 0; });
        return hasNoFailedAllocation;
    });
}

}  // namespace web::web_worker_test
