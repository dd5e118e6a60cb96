#pragma once

#include <string>
#include <variant>
#include <vector>

#include "television/value.h"

/// The television that a program of the contract's tests talks to, as it is driven from its own side: one in the
/// process, or one on a bus. Driven by one thread at a time; what is told to it is done when the call returns.
namespace driven {

using Key = std::string const&;
/// What an action is answered with: nothing, the results' texts, or an execution error.
using Answer = std::variant<std::monostate, std::vector<std::string>, int>;

/// Whether a text may hold a zero byte, or bytes that are no UTF-8.
bool carriesEveryText();

void publish(Key key, television::Value const& value);
void publishTable(Key key, television::Rows const& rows);
void publishAction(Key key);
void withdraw(Key key);
void set(Key key, television::Value const& value);
void setRows(Key key, television::Rows const& rows);

/// For every action, from now on.
void answerWith(Answer const& answer);
void failInvokes(Key key, int status);  ///< From now on; 0 ends it, here and below.
void failReads(Key key, int status);

/// The arguments of the newest invocation, each as its index and its text, "0: text", once it is settled.
std::vector<std::string> lastArguments();

/// Returns when the observers here have heard all that the television did so far.
void settle();

}  // namespace driven
