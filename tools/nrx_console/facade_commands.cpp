#include "tools/nrx_console/facade_commands.h"

#include "nrx_service/nrx_proxy/nrx_model_access/model_keys.h"
#include "tools/nrx_console/output.h"

namespace nrx_console {

namespace {

/// The key of one of the two lists; the facade does not say when it refuses another one.
std::string listKeyOf(std::string const& word, std::string const& instead) {
    std::string key = keyOf(word);
    if (key != orvane::model_keys::COMMAND && key != orvane::model_keys::EVENT) {
        throw unexpected(word, "command or event; any other object: " + instead);
    }
    return key;
}

/// A text as it can be typed, or nothing for what could not be had.
std::string shown(std::string const& text) { return text.empty() ? text : typed(text); }

}  // namespace

void PrintingClient::onNRXCommandReceived(std::vector<std::string> const& parameters) {
    printLine("client: command " + typed(parameters));
}

void PrintingClient::onNRXEventReceived(std::vector<std::string> const& parameters) {
    printLine("client: event " + typed(parameters));
}

Commands FacadeCommands::commands() {
    return {
        {"start", "", "connect to the command and the event list", [this](auto const&) { access_.start(); }},
        {"info", "", "ask for the facts about the device", [this](auto const& arguments) { info(arguments); }},
        {"listen", "command|event on|off", "let lists through to the client, or not",
         [this](auto const& arguments) { listen(arguments); }},
        {"get", "command|event", "read the list through the facade", [this](auto const& arguments) { get(arguments); }},
        {"set", "command|event VALUE...", "write the list through the facade",
         [this](auto const& arguments) { set(arguments); }},
        {"request-service", "", "ask the television to start the NRX service",
         [this](auto const&) { access_.requestStartNRXService(); }},
    };
}

void FacadeCommands::info(Words const& /*arguments*/) {
    printLine("software version: " + shown(access_.getSoftwareVersion()));
    printLine("model name: " + shown(access_.getModelname()));
    printLine("feature code: " + shown(access_.getFeatureCode()));
    printLine("device identifier: " + shown(access_.getDeviceID()));
}

void FacadeCommands::listen(Words const& arguments) {
    bool const on = isSwitchedOn(arguments[1]);
    if (arguments[0] == "command") {
        on ? access_.startCommandListener() : access_.stopCommandListener();
    } else if (arguments[0] == "event") {
        on ? access_.startEventListener() : access_.stopEventListener();
    } else {
        throw unexpected(arguments[0], "command or event");
    }
}

void FacadeCommands::get(Words const& arguments) {
    std::vector<std::string> values;
    access_.getAccessValue(listKeyOf(arguments[0], "read KEY"), values);
    printLine(arguments[0] + ": " + typed(values));
}

void FacadeCommands::set(Words const& arguments) {
    access_.setAccessValue(listKeyOf(arguments[0], "write KEY VALUE..."), {arguments.begin() + 1, arguments.end()});
}

}  // namespace nrx_console
