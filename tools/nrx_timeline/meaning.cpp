#include "tools/nrx_timeline/meaning.h"

#include <algorithm>
#include <iterator>

namespace nrx_timeline {

namespace {

constexpr std::string_view ERRORS[] = {"Action Failed : ",
                                       "BizValue connect failed:",
                                       "Error ",
                                       "Fail to connect ",
                                       "Failed ",
                                       "No Access yet.",
                                       "Not array type.",
                                       "Object Type mismatch:",
                                       "Observer Type not match ",
                                       "STATUS_ERR_",
                                       "Unknown Type since ",
                                       "Value is '",
                                       "Value is too large ",
                                       "error: "};

/// The form of a message that begins with `beginning`. The key or the value is between the first `open` after the
/// beginning and the next `close`. An empty `close` stands for the end of the message.
struct MessageForm {
    std::string_view beginning;
    std::string_view open;
    std::string_view close;
    std::optional<std::string_view> KeyAndValue::*member;
};

constexpr MessageForm MESSAGE_FORMS[] = {
    {"Action Failed : ", "", ",  ", &KeyAndValue::key},  {"Action Result: ", "", ",  ", &KeyAndValue::key},
    {"BizValue connect ", ":'", "'", &KeyAndValue::key}, {"Error set value :", ", ", "", &KeyAndValue::key},
    {"parameter ", ":   ", "", &KeyAndValue::value},
};

/// The operations that users of the library call on the facade and on access objects.
constexpr std::string_view CALLER_OPERATIONS[] = {"NRXModelAccess",
                                                  "connect",
                                                  "create",
                                                  "getAccessValue",
                                                  "getDeviceID",
                                                  "getFeatureCode",
                                                  "getModelname",
                                                  "getSoftwareVersion",
                                                  "invoke",
                                                  "requestStartNRXService",
                                                  "setAccessValue",
                                                  "setNewValueHandler",
                                                  "setValue",
                                                  "start",
                                                  "tryConnectIfNeeded",
                                                  "~NRXModelAccess"};

}  // namespace

bool isError(std::string_view message) {
    return std::any_of(std::begin(ERRORS), std::end(ERRORS),
                       [message](std::string_view error) { return message.starts_with(error); });
}

KeyAndValue keyAndValueOf(LogLine const& message) {
    KeyAndValue keyAndValue;
    for (MessageForm const& form : MESSAGE_FORMS) {
        std::string_view text = message.messageText;
        std::size_t const open = text.find(form.open, form.beginning.size());
        if (text.starts_with(form.beginning) && open != std::string_view::npos) {
            text.remove_prefix(open + form.open.size());
            std::size_t const close = form.close.empty() ? text.size() : text.find(form.close);
            keyAndValue.*form.member = text.substr(0, close);
        }
    }
    if (keyAndValue.value && keyAndValue.value->ends_with(' ')) {  // The message has a blank after the value.
        keyAndValue.value->remove_suffix(1);
    }
    if (message.operation == "onNRXCommandValueChanged") {
        keyAndValue.key = "command";
    } else if (message.operation == "onNRXEventValueChanged") {
        keyAndValue.key = "event";
    }
    return keyAndValue;
}

ThreadRole threadRoleOf(std::string_view operation) {
    bool const isCallers =
        std::find(std::begin(CALLER_OPERATIONS), std::end(CALLER_OPERATIONS), operation) != std::end(CALLER_OPERATIONS);
    return isCallers                         ? ThreadRole::caller
           : operation.starts_with("notify") ? ThreadRole::delivery
                                             : ThreadRole::unknown;
}

}  // namespace nrx_timeline
