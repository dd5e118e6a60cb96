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

/// A message that begins with `beginning`. The detail is between the first `open` after the beginning and the next
/// `close`.
struct Form {
    std::string_view beginning;
    std::string_view open;
    std::string_view close;
    std::optional<std::string_view> Details::*detail;
};

constexpr Form FORMS[] = {
    {"Action Failed : ", "", ",  ", &Details::key},  {"Action Result: ", "", ",  ", &Details::key},
    {"BizValue connect ", ":'", "'", &Details::key}, {"Error set value :", ", ", "", &Details::key},
    {"parameter ", ":   ", "", &Details::value},
};

/// The operations of the facade and of the access objects that their users call.
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

Details detailsOf(LogLine const& message) {
    Details details;
    for (Form const& form : FORMS) {
        std::string_view text = message.text;
        std::size_t const open = text.find(form.open, form.beginning.size());
        if (text.starts_with(form.beginning) && open != std::string_view::npos) {
            text.remove_prefix(open + form.open.size());
            std::size_t const close = form.close.empty() ? text.size() : text.find(form.close);
            details.*form.detail = text.substr(0, close);
        }
    }
    if (details.value && details.value->ends_with(' ')) {  // The message ends with a blank.
        details.value->remove_suffix(1);
    }
    if (message.operation == "onNRXCommandValueChanged") {
        details.key = "command";
    } else if (message.operation == "onNRXEventValueChanged") {
        details.key = "event";
    }
    return details;
}

Role roleOf(std::string_view operation) {
    bool const isCallers =
        std::find(std::begin(CALLER_OPERATIONS), std::end(CALLER_OPERATIONS), operation) != std::end(CALLER_OPERATIONS);
    return isCallers ? Role::caller : operation.starts_with("notify") ? Role::delivery : Role::unknown;
}

}  // namespace nrx_timeline
