#pragma once

#include <string>
#include <variant>
#include <vector>

#include "television/value.h"

/// The television that a program of the contract's tests talks to, as it is driven from its own side: one in the
/// process, or one on a bus. One thread at a time drives it. All but `set` and `setRows` settle.
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

/// Holds for every action, from now on.
void answerWith(Answer const& answer);
/// Hold from now on; a status of 0 ends them.
void failInvokes(Key key, int status);
void failReads(Key key, int status);

/// The arguments of the newest invocation, each as its index and its text: "0: text".
std::vector<std::string> lastArguments();

/// Returns when the observers here have heard all that the television did so far.
void settle();

}  // namespace driven
