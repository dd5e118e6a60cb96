#include <algorithm>
#include <array>
#include <string>
#include <utility>

#include "tools/nrx_console/output.h"
#include "tools/nrx_console/simulated_television.h"

// The faults of the simulated television.

namespace nrx_console {

namespace {

/// The operations of the model in which the command `tv throw` can cause an exception.
constexpr std::array<std::pair<char const*, simulator::Call>, 8> CALLS{{
    {"connect", simulator::Call::connect},
    {"disconnect", simulator::Call::disconnect},
    {"type", simulator::Call::type},
    {"read", simulator::Call::read},
    {"write", simulator::Call::write},
    {"invoke", simulator::Call::invoke},
    {"create-iterator", simulator::Call::createIterator},
    {"destroy-iterator", simulator::Call::destroyIterator},
}};

constexpr std::array<std::pair<char const*, simulator::RootLookup>, 4> ROOTS{{
    {"published", simulator::RootLookup::published},
    {"refused", simulator::RootLookup::refused},
    {"empty", simulator::RootLookup::emptyReference},
    {"null", simulator::RootLookup::nullObject},
}};

/// The names of the choices, separated by bars.
template <typename Choices>
std::string namesOf(Choices const& choices) {
    Words names;
    for (auto const& [name, choice] : choices) {
        names.emplace_back(name);
    }
    return joined(names, "|");
}

/// The choice with the name. The name must be the name of a choice.
template <typename Choices>
auto choiceOf(Choices const& choices, std::string const& name) {
    return std::find_if(choices.begin(), choices.end(), [&name](auto const& choice) { return name == choice.first; })
        ->second;
}

}  // namespace

Commands SimulatedTelevision::faultCommands() {
    return {
        {"tv on", "", "make the television reachable again", [this](auto const&) { setReachable(true); }},
        {"tv off", "", "make the television unreachable", [this](auto const&) { setReachable(false); }},
        {"tv root", namesOf(ROOTS), "choose what a lookup of the root interface returns",
         [this](auto const& arguments) { television_.setRootLookup(choiceOf(ROOTS, arguments[0])); }},
        {"tv fail connect", "KEY NUMBER [ATTEMPTS] [object]",
         "fail connects with a status, always or ATTEMPTS times; with \"object\", return the object nevertheless",
         [this](auto const& arguments) { failConnects(arguments); }},
        {"tv fail read", "KEY NUMBER [half]", "fail reads with a status; with \"half\", return half of the value",
         [this](auto const& arguments) {
             television_.failReads(keyNotingUnpublished(arguments[0]),
                                   {numberOf(arguments[1]), arguments.back() == "half"});
         }},
        {"tv fail invoke", "KEY NUMBER", "refuse invocations with a status",
         [this](auto const& arguments) {
             television_.failInvokes(keyNotingUnpublished(arguments[0]), numberOf(arguments[1]));
         }},
        {"tv fail iterator", "KEY", "create no iterators on a table",
         [this](auto const& arguments) { television_.refuseIterators(keyNotingUnpublished(arguments[0]), true); }},
        {"tv fail destroy", "KEY NUMBER", "refuse with a status to destroy the iterators of a table",
         [this](auto const& arguments) {
             television_.failDestroys(keyNotingUnpublished(arguments[0]), numberOf(arguments[1]));
         }},
        {"tv throw", "KEY " + namesOf(CALLS), "make one operation throw as if memory ran out",
         [this](auto const& arguments) {
             television_.throwFrom(keyNotingUnpublished(arguments[0]), choiceOf(CALLS, arguments[1]));
         }},
        {"tv early", "KEY", "notify a value before its connects return",
         [this](auto const& arguments) { television_.notifyEarly(keyNotingUnpublished(arguments[0]), true); }},
        {"tv heal", "KEY", "end the faults of an object",
         [this](auto const& arguments) { clearFaultsOfKey(arguments); }},
    };
}

void SimulatedTelevision::clearRootLookupFault() { television_.setRootLookup(simulator::RootLookup::published); }

void SimulatedTelevision::setReachable(bool isReachable) {
    television_.setRootLookup(isReachable ? simulator::RootLookup::published : simulator::RootLookup::refused);
    if (std::exchange(isPrintedAsReachable_, isReachable) != isReachable) {
        printTelevisionPresence(isReachable ? television::Presence::back : television::Presence::gone,
                                LineKind::ordinary);
    }
}

std::string SimulatedTelevision::keyNotingUnpublished(std::string const& word) const {
    std::string key = expandShortKey(word);
    if (!television_.type(key)) {
        printLine("nothing is published under " + typed(key) + " yet");
    }
    return key;
}

void SimulatedTelevision::failConnects(Words const& arguments) {
    simulator::ConnectFault fault;
    fault.status = numberOf(arguments[1]);
    fault.handsOutObject = arguments.back() == "object";
    if (arguments.size() > (fault.handsOutObject ? 3U : 2U)) {
        fault.attempts = numberOf(arguments[2]);
    }
    television_.failConnects(keyNotingUnpublished(arguments[0]), fault);
}

void SimulatedTelevision::clearFaultsOfKey(Words const& arguments) {
    std::string const key = expandShortKey(arguments[0]);
    television_.failConnects(key, {0, false, 0});
    television_.failReads(key, {});
    television_.failInvokes(key, 0);
    television_.refuseIterators(key, false);
    television_.failDestroys(key, 0);
    television_.throwFrom(key, simulator::Call::none);
    television_.notifyEarly(key, false);
}

}  // namespace nrx_console
