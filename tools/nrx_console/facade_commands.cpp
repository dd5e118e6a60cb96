#include "tools/nrx_console/facade_commands.h"

#include "nrx_service/nrx_proxy/nrx_model_access/model_keys.h"

namespace nrx_console {

namespace {

/// Returns the key of the command or event list. Throws `CommandError` for any other key, because the facade would
/// report the wrong key only in the log.
std::string listKeyOf(std::string const& word, std::string const& instead) {
    std::string key = expandShortKey(word);
    if (key != orvane::model_keys::COMMAND && key != orvane::model_keys::EVENT) {
        throw unexpected(word, "command or event; any other object: " + instead);
    }
    return key;
}

/// Prints a line with the name and the fact. The fact is empty if it is not available.
void printFact(std::string const& name, std::string const& fact) {
    printLine(name + ": " + (fact.empty() ? "" : typed(fact)));
}

void printFacts(orvane::NRXModelAccess& access) {
    printFact("software version", access.getSoftwareVersion());
    printFact("model name", access.getModelname());
    printFact("feature code", access.getFeatureCode());
    printFact("device identifier", access.getDeviceID());
}

void listen(orvane::NRXModelAccess& access, Words const& arguments) {
    bool const on = arguments[1] == "on";
    if (listKeyOf(arguments[0], "watch KEY") == orvane::model_keys::COMMAND) {
        on ? access.startCommandListener() : access.stopCommandListener();
    } else {
        on ? access.startEventListener() : access.stopEventListener();
    }
}

void printList(orvane::NRXModelAccess& access, Words const& arguments) {
    Words values;
    access.getAccessValue(listKeyOf(arguments[0], "read KEY"), values);
    printLine(arguments[0] + ": " + typed(values));
}

}  // namespace

Commands facadeCommands(orvane::NRXModelAccess& access) {
    return {
        {"start", "", "connect to the command and the event list", [&access](auto const&) { access.start(); }},
        {"info", "", "ask for the facts about the device", [&access](auto const&) { printFacts(access); }},
        {"listen", "command|event on|off", "pass lists on to the client, or not",
         [&access](auto const& arguments) { listen(access, arguments); }},
        {"get", "command|event", "read the list through the facade",
         [&access](auto const& arguments) { printList(access, arguments); }},
        {"set", "command|event VALUE...", "write the list through the facade",
         [&access](auto const& arguments) {
             access.setAccessValue(listKeyOf(arguments[0], "write KEY VALUE..."),
                                   {arguments.begin() + 1, arguments.end()});
         }},
        {"request-service", "", "ask the television to start the NRX service",
         [&access](auto const&) { access.requestStartNRXService(); }},
    };
}

}  // namespace nrx_console
