#pragma once

#include <variant>

#include "television/value.h"
#include "television_clients.h"

/// Changes the television of the test program: one in the process, or another program on a bus. One thread at a time
/// calls these functions; a call returns when the television has carried it out.
namespace driver {

using Key = std::string const&;
/// How an action is answered: not at all, with the texts of results, or with an execution error.
using Answer = std::variant<std::monostate, std::vector<std::string>, int>;

/// Whether a text may hold a zero byte, or bytes that are no UTF-8.
bool carriesEveryText();

void publish(Key key, television::Value const& value);
void publishTable(Key key, television::Rows const& rows);
void publishAction(Key key);
void withdraw(Key key);
void set(Key key, television::Value const& value);
void setRows(Key key, television::Rows const& rows);

/// Publishes a value, and connects a client to it.
template <typename T>
test::Client<T> published(Key key, T const& value) {
    publish(key, value);
    return test::Client<T>(key);
}

/// Sets the answer of every action from now on.
void answerWith(Answer const& answer);
void failInvokes(Key key, int status);  ///< From now on; 0 ends the fault, here and below.
void failReads(Key key, int status);

/// The arguments of the newest invocation, each as its index and its text, "0: text". Valid after `sync`.
std::vector<std::string> lastArguments();

/// Returns when every notification of the changes so far was delivered to the observers in this process.
void sync();

/// All that an observer has received since the last call, with the notifications of the changes so far.
template <typename Recorder>
auto received(Recorder& observer) {
    sync();
    return observer.take();
}

// A television on a bus can be lost. It starts again as it was, with the changes that the test made meanwhile. The
// functions return when the clients have noticed the loss and were notified of it.
void kill();
void killBus();  ///< Ends the television, too.

/// Starts what was killed, the bus at its earlier address, and returns after `syncReads`.
void start();

/// Returns when the clients have also received the values that they began to read when the television changed.
void syncReads();

/// One of the two ways to lose the television, with the status of operations until it returns.
struct Loss {
    char const* name;
    void (*lose)();
    int status;
};
inline constexpr Loss LOSSES[] = {
    {"Television", kill, television::STATUS_NO_TELEVISION},
    {"Bus", killBus, television::STATUS_NO_BUS},
};

}  // namespace driver
