// The script nrx.js in a script engine without a browser, with a simulated television.

#include <gmock/gmock.h>
#include <jsc/jsc.h>

#include <memory>
#include <string>
#include <vector>

#include "nrx_service/nrx_proxy/nrx_model_access/model_keys.h"
#include "simulator/log.h"
#include "simulator/television.h"
#include "web/facade_worker.h"
#include "web/glib.h"
#include "web/script_binding.h"

namespace web {
namespace {

using orvane::model_keys::COMMAND;
using orvane::model_keys::EVENT;
using testing::Contains;
using testing::Field;
using testing::HasSubstr;
using namespace std::string_literals;
using Strings = std::vector<std::string>;

/// What the script needs of a browser. `show` hides and shows the page.
constexpr char BROWSER[] = R"(
    globalThis.EventTarget = class EventTarget {
        addEventListener(type, listener) {
            const all = ((this ?? globalThis).listeners ??= new Map());
            all.set(type, (all.get(type) ?? new Set()).add(listener));
        }
        removeEventListener(type, listener) { this.listeners.get(type)?.delete(listener); }
        dispatchEvent(event) { [...this.listeners.get(event.type) ?? []].forEach((listener) => listener.call(this, event)); }
    };
    globalThis.Event = class { constructor(type, values) { Object.assign(this, values, { type }); } };
    globalThis.CustomEvent = Event;
    globalThis.document = {};
    globalThis.MutationObserver = class { observe() {} };
    function show(type, persisted) {
        EventTarget.prototype.dispatchEvent.call(globalThis, new Event(type, { isTrusted: true, persisted }));
    }
    var heard = [];
    var ends = [];
    function call(promise) { promise.then((value) => ends.push(value ?? null), (error) => ends.push(error.status)); }
)";

class ScriptTest : public testing::Test {
protected:
    ScriptTest() {
        television.publish(COMMAND, Strings{});
        television.publish(EVENT, Strings{});
        run(BROWSER);
        // The real `nrx` of a page cannot be extended; the stand-in for a browser keeps its listeners there.
        run("const { freeze } = Object; Object.freeze = (value) => Array.isArray(value) ? freeze(value) : value;");
        binding = ScriptBinding::install(context.get(), worker);
    }

    std::string run(char const* script) {
        Ref<JSCValue> const value(jsc_context_evaluate(context.get(), script, -1));
        JSCException* const exception = jsc_context_get_exception(context.get());
        EXPECT_EQ(exception, nullptr) << takeText(exception == nullptr ? nullptr : jsc_exception_report(exception));
        return takeText(jsc_value_to_json(value.get(), 0));
    }

    void runUntil(char const* condition) {
        while (run(condition) != "true") {
            g_main_context_iteration(nullptr, TRUE);
        }
    }

    simulator::Television television;
    FacadeWorker worker{[](auto task) { runOnMainContext(std::move(task)); }};
    Ref<JSCContext> context{jsc_context_new()};
    std::weak_ptr<ScriptBinding> binding;
};

TEST_F(ScriptTest, TextsAreWhatUtf8SaysOfTheBytes) {
    run("nrx.oncommand = ({detail}) => heard.push(detail.map((text) => text.replace(/\\0/g, '(zero)')),"
        "Object.isFrozen(detail)); call(nrx.get('event'))");
    runUntil("ends.length === 1");  // Both lists are connected.
    television.set(COMMAND, Strings{"a\0b"s, "", "\xc3\xa4\xf0\x9f\x93\xba", "\xff<\xc3", "\xed\xa0\x80", "\"\\\n"});
    runUntil("heard.length === 2");
    EXPECT_EQ(run("heard[1]"), "true");
    std::string const replaced = "\xef\xbf\xbd";
    EXPECT_EQ(run("heard[0].slice(0, 4)"), R"(["a(zero)b","",")"
                                           "\xc3\xa4\xf0\x9f\x93\xba\",\"" +
                                               replaced + "<" + replaced + "\"]");
    EXPECT_EQ(run("/^\\ufffd+$/.test(heard[0][4])"), "true");
    EXPECT_EQ(run("heard[0][5]"), R"("\"\\\n")");
    run("call(nrx.set('event', ['a\\0b', '\\u00e4'])); call(nrx.set('event', ['\\ud800'])); call(nrx.get('event'))");
    runUntil("ends.length === 4");
    EXPECT_EQ(run("ends.slice(1)"), R"([123,null,["a\u0000b",")"
                                    "\xc3\xa4\"]]");
    EXPECT_EQ(television.get(EVENT), simulator::Value(Strings{"a\0b"s, "\xc3\xa4"}));
    run("show('pagehide')");
}

TEST_F(ScriptTest, AHiddenPageDoesNothingAndAShownOneGoesOn) {
    run("nrx.oncommand = ({detail}) => heard.push(...detail); call(nrx.get('event'))");
    runUntil("ends.length === 1");
    television.set(COMMAND, Strings{"dropped"});
    television.waitUntilDelivered();
    run("call(nrx.get('event')); show('pagehide', true); call(nrx.set('event', ['never']))");
    run("nrx.onevent = () => heard.push('never')");
    EXPECT_EQ(run("ends.slice(1)"), "[129,129]");
    television.set(COMMAND, Strings{"held back"});
    television.waitUntilDelivered();
    run("nrx.onevent = null; show('pageshow', true); call(nrx.get('event'))");
    runUntil("ends.length === 4");
    television.set(COMMAND, Strings{"shown"});
    runUntil("heard.length > 0");
    EXPECT_EQ(run("[heard, ends[3]]"), R"([["shown"],[]])");
    run("show('pagehide')");
}

TEST_F(ScriptTest, ADocumentThatIsGoneIsHeldByNothing) {
    run("nrx.oncommand = () => {}; call(nrx.get('event'))");
    runUntil("ends.length === 1");
    run("call(nrx.get('event'))");
    context = nullptr;
    ASSERT_FALSE(binding.expired());  // It is attached: the script is needed yet.
    binding.lock()->detach();
    EXPECT_TRUE(binding.expired());
    while (television.registrations(COMMAND) > 0) {
        std::this_thread::yield();
    }
}

TEST_F(ScriptTest, ManyListsLeaveThePageTimeForOtherWork) {
    run("nrx.oncommand = ({detail}) => heard.push(...detail); call(nrx.get('event'))");
    runUntil("ends.length === 1");
    for (int number = 0; number < 1000; ++number) {
        television.set(COMMAND, Strings{std::to_string(number)});
    }
    television.waitUntilDelivered();
    int heardBefore = -1;
    runOnMainContext([&] { heardBefore = std::stoi(run("heard.length")); });
    runUntil("heard.length === 1000");
    EXPECT_LT(heardBefore, 1000);
    EXPECT_EQ(run("heard.every((text, number) => text === `${number}`)"), "true");
    simulator::LogCapture log([](DebugLevelRecord&) { return true; });
    run("nrx.oncommand = null");
    television.set(COMMAND, Strings{"nobody listens"});
    television.waitUntilDelivered();
    EXPECT_THAT(log.take(), Contains(Field(&simulator::LogCapture::Line::text, HasSubstr("Listener Not started"))));
    run("show('pagehide')");
}

}  // namespace
}  // namespace web
