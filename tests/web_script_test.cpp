// Tests the script nrx.js in a script engine without a browser, with a simulated television.

#include <gtest/gtest.h>
#include <jsc/jsc.h>

#include "nrx_service/nrx_proxy/nrx_model_access/model_keys.h"
#include "simulator/television.h"
#include "web/facade_worker.h"
#include "web/glib.h"
#include "web/script_binding.h"

namespace web::web_script_test {

using orvane::model_keys::COMMAND;
using orvane::model_keys::EVENT;
using namespace std::string_literals;
using Strings = std::vector<std::string>;

class ScriptTest : public testing::Test {
protected:
    ScriptTest() {
        television.publish(COMMAND, Strings{});
        television.publish(EVENT, Strings{});
        char* browser = nullptr;
        EXPECT_TRUE(g_file_get_contents(BROWSER, &browser, nullptr, nullptr));
        run(takeText(browser).c_str());
        binding = ScriptBinding::install(context.get(), worker);
        run("listen()");
        runUntil("ends.length === 1");  // Returns when both lists are connected.
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

TEST_F(ScriptTest, TextsAreDecodedAsUtf8) {
    run("nrx.oncommand = ({detail}) => received.push(detail.map((text) => text.replace(/\\0/g, '(zero)')),"
        "Object.isFrozen(detail))");
    television.set(COMMAND, Strings{"a\0b"s, "", "\xc3\xa4\xf0\x9f\x93\xba", "\xff<\xc3", "\xed\xa0\x80", "\"\\\n"});
    runUntil("received.length === 2");
    EXPECT_EQ(run("received[1]"), "true");
    EXPECT_EQ(run("received[0].slice(0, 4)"), R"(["a(zero)b","","ä📺","�<�"])");
    EXPECT_EQ(run("/^\\ufffd+$/.test(received[0][4])"), "true");
    EXPECT_EQ(run("received[0][5]"), R"("\"\\\n")");
    run("call(nrx.set('event', ['a\\0b', '\\u00e4'])); call(nrx.set('event', ['\\ud800'])); call(nrx.get('event'))");
    runUntil("ends.length === 4");
    EXPECT_EQ(run("ends.slice(1)"), R"([123,null,["a\u0000b","ä"]])");
    EXPECT_EQ(television.get(EVENT), simulator::Value(Strings{"a\0b"s, "\xc3\xa4"}));
    run("show('pagehide')");
}

TEST_F(ScriptTest, ADestroyedDocumentIsReleased) {
    run("call(nrx.get('event'))");
    context = nullptr;
    ASSERT_FALSE(binding.expired());  // Until `detach`, the binding and its script own each other.
    binding.lock()->detach();
    EXPECT_TRUE(binding.expired());
    while (television.registrations(COMMAND) > 0) {
        std::this_thread::yield();
    }
}

}  // namespace web::web_script_test
