// Memory that runs out at any moment: each operation is tried with its first allocation failing, then with its second,
// and so on, until it gets through; once with that one allocation failing and once with all from there on.

#include <algorithm>
#include <iostream>

#include "nrx_service/nrx_proxy/nrx_model_access/nrx_model_access.h"
#include "support.h"

namespace test {
namespace {

using namespace objbus;
using orvane::NRXModelAccess;

std::string const COMMAND = "torvi.sl2.vstr.videoplayer.nrx.command";
std::string const EVENT = "torvi.sl2.vstr.videoplayer.nrx.event";
std::string const VERSION = "torvi.sl2.str.orvfactory.software.version";
std::string const SOURCE_SWITCH = "torvi.sl2.action.source.switch";
std::string const NUMBERS = "a list of numbers, whose key is long";
std::string const ROWS = "a table, whose key is long, too";
Strings const LIST{"a text that is too long for the string itself to hold", "b"};

/// All that may be tried, and whether it was heard of.
struct Things : orvane::NRXModelAccessClient, ValueHandler, ActionHandler {
    Things() {
        facade.startCommandListener();
        list.typeTag = VALUE_VECTOR;
        list.elements = {LIST[0], LIST[1]};
        second.create();
    }
    ~Things() override {
        first.destroy();
        second.destroy();
    }
    void onNRXCommandReceived(Strings const& parameters) override { heard = parameters == LIST; }
    void onNRXEventReceived(Strings const& /*parameters*/) override {}
    void handleNewValue(IValueObject const& value) override { heard = value.type() == VALUE_VECTOR; }
    void handleResult(unsigned int /*actionId*/, ValueObject const& results) override { heard = results == list; }
    void handleExecutionError(unsigned int /*actionId*/, int /*error*/) override {}

    bool assignsAllOrNothing() {
        ValueObject target(1);
        try {
            target = list;
        } catch (std::bad_alloc const&) {
            EXPECT_TRUE(target.type() == VALUE_INT && target.elements.empty());
            throw;
        }
        return target == list;
    }

    bool heard = false;
    std::shared_ptr<Things> self{this, [](Things* /*shared*/) {}};
    NRXModelAccess facade{this};
    ValueAccessT<ObserverVectorNumericInteger> numbers{NUMBERS, self};
    ActionAccess action{SOURCE_SWITCH, self};
    IteratorAccess first{ROWS, nullptr, IteratorType{}, {{1, 2, LIST[0]}}, {1}, {{3, 4}}};
    IteratorAccess second{ROWS, nullptr, IteratorType{}, {}, {}, {}};
    ValueObject list;
    Strings texts;
    Integers integers;
    std::unique_ptr<Things> others;
};

struct Operation {
    std::string name;
    bool (*succeeds)(Things& of);
};

Operation const OPERATIONS[] = {
    {"construction", [](Things& of) { return (of.others = std::make_unique<Things>()) != nullptr; }},
    {"start", [](Things& of) { return of.facade.start(), true; }},
    {"relay", [](Things& of) { return of.facade.onNRXCommandValueChanged(of.list), of.heard; }},
    {"start request", [](Things& of) { return of.facade.requestStartNRXService(), true; }},
    {"write by key", [](Things& of) { return of.facade.setAccessValue(COMMAND, LIST), true; }},
    {"read by key", [](Things& of) { return of.facade.getAccessValue(COMMAND, of.texts), of.texts == LIST; }},
    {"query", [](Things& of) { return of.facade.getSoftwareVersion() == LIST[0]; }},
    {"write and read",
     [](Things& of) {
         return of.numbers.setValue(Integers{1, 2}) + of.numbers.getValue(of.integers) == 0;
     }},
    {"notification",
     [](Things& of) {
         return of.numbers.notifyIntegerVector({1, 2}), of.heard;
     }},
    {"create", [](Things& of) { return of.first.create() == 0 && of.first.getIterator() != nullptr; }},
    {"create again", [](Things& of) { return of.second.create() == 0 && of.second.getIterator() != nullptr; }},
    {"action result",
     [](Things& of) {
         return of.action.notifyResult(1, {{0, 0, 0, LIST[0]}, {0, 1, 0, LIST[1]}}), of.heard;
     }},
    {"value copy", [](Things& of) { return ValueObject(of.list) == of.list; }},
    {"value assignment", [](Things& of) { return of.assignsAllOrNothing(); }},
    {"value text", [](Things& of) { return ValueObject(std::string(of.list)).stringValue.size() > LIST[0].size(); }},
    {"value conversion", [](Things& of) { return of.list.convertToVectorT(""s) == LIST; }},
};

TEST(Memory, MayRunOutAtAnyMoment) {
    simulator::Television tv;
    auto const registrations = [&tv] {
        return tv.registrations(COMMAND) + tv.registrations(EVENT) + tv.registrations(VERSION) +
               tv.registrations(SOURCE_SWITCH) + tv.registrations(NUMBERS) + tv.registrations(ROWS);
    };
    tv.publish(COMMAND, LIST);
    tv.publish(EVENT, LIST);
    tv.publish(VERSION, LIST[0]);
    tv.publish(NUMBERS, Integers{});
    tv.publishAction(SOURCE_SWITCH, {});
    tv.publishTable(ROWS, {});
    simulator::setLogLevel(simulator::LogLevel::debug);
    // Whether the operation succeeds with so many allocations.
    auto const succeeds = [&](Operation const& operation, int allocations, bool lasts) {
        testing::internal::CaptureStderr();
        auto things = std::make_unique<Things>();
        bool succeeded = true;
        try {
            Shortage const shortage(allocations, lasts);
            EXPECT_TRUE(operation.succeeds(*things));
        } catch (std::bad_alloc const&) {
            succeeded = false;
        }
        EXPECT_TRUE(operation.succeeds(*things));  // Nothing is broken.
        {
            Shortage const none(0);  // Destruction needs no memory.
            things.reset();
        }
        tv.waitUntilDelivered();
        std::string const written = testing::internal::GetCapturedStderr();
        EXPECT_EQ(std::count(written.begin(), written.end(), '>'), std::count(written.begin(), written.end(), '<'));
        EXPECT_EQ(registrations(), 0);
        tv.setRows(ROWS, {});  // Nobody hears of it: the iterators' observers are gone.
        return succeeded;
    };
    for (Operation const& operation : OPERATIONS) {
        int failed = 0;
        while (true) {
            SCOPED_TRACE(operation.name + ", allocation " + std::to_string(failed));
            bool const once = succeeds(operation, failed, false);
            EXPECT_EQ(succeeds(operation, failed, true), once);
            if (once) {
                break;
            }
            ++failed;
        }
        EXPECT_GT(failed, 0);
        std::cout << operation.name << ": each of " << failed << " allocations failed in its turn\n";
    }
    simulator::setLogLevel(simulator::LogLevel::error);
}

}  // namespace
}  // namespace test
