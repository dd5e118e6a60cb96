#pragma once

#include "fuzz/access_model.h"

namespace fuzz {

/// Runs the operation on the reference, then on the original, and expects the same status.
template <typename Reference, typename Original, typename Operation>
void runBoth(Reference& reference, Original& original, Operation const& operation) {
    int const status = statusOf([&] { return operation(reference); });
    bool const returnsStatus = !std::is_void_v<decltype(operation(original))> || status == STATUS_THROWS;
    int const expected = returnsStatus ? status : STATUS_OK;
    expect(statusOf([&] { return operation(original); }) == expected, "an operation ends as the reference model's");
}

/// Like the function above, for an operation that has an output argument. Also expects the same output of the reference
/// and the original.
template <typename Reference, typename Original, typename Output, typename Operation>
void runBoth(Reference& reference, Original& original, Output const& output, Operation const& operation) {
    Output outputs[] = {output, output};
    Output* next = outputs;
    runBoth(reference, original, [&](auto& object) { return operation(object, *next++); });
    expect(outputs[0] == outputs[1], "an output argument is as the reference model leaves it");
}

/// The simulated television and the reference television. Each change applies to both televisions.
class FuzzedTelevision {
protected:
    FuzzedTelevision(std::uint8_t const* data, std::size_t size) : bytes(data, size) {
        for (auto const& [key, kind] : KEYS) {
            publish(key, kind);
        }
    }
    ~FuzzedTelevision() = default;

    std::size_t numberUpToThree() { return bytes.number<std::size_t>(0, 3); }
    std::string makeText() { return bytes.text(4); }
    Strings makeTexts() {
        return bytes.makeList(numberUpToThree(), [this] { return makeText(); });
    }
    /// Often returns the expected kind.
    int chooseKind(int expectedKind) { return bytes.nextBool() ? expectedKind : bytes.number<int>(INTEGER, ITERATOR); }
    Value makeValueOfKind(int kind) {
        auto const edge = bytes.PickValueInArray({INT_MIN - 1LL, 0LL + INT_MIN, -1LL, 0LL + INT_MAX, INT_MAX + 1LL});
        int const small = static_cast<int>(edge);
        return kind == INTEGER    ? Value(small)
               : kind == INT64    ? Value(edge)
               : kind == TEXT     ? Value(makeText())
               : kind == INTEGERS ? Value(std::vector<int>(numberUpToThree(), small))
                                  : Value(makeTexts());
    }
    Value makeValue(int expectedKind) { return makeValueOfKind(chooseKind(expectedKind)); }
    Rows makeRows() {
        return bytes.makeList(numberUpToThree(), [this] { return makeTexts(); });
    }

    /// Chooses at random which receivers perform an operation inside their next notification, and which operation. The
    /// receiver `receiverWithoutReaction` performs none.
    virtual void chooseReactions(void const* receiverWithoutReaction) = 0;

    void publish(std::string const& key, int kind) {
        ReferenceObject object{kind <= TABLE ? OBJECT_TYPE_BY_KIND[kind]
                                             : bytes.PickValueInArray({-1, 0, 5, 7, 9, 255})};
        if (kind < ACTION) {
            television.publish(key, object.value = makeValueOfKind(kind));
        } else if (kind == ACTION) {
            object.script = [this](Arguments const& arguments) {
                invocationsOfBothTelevisions.push_back(arguments);
                return answer;
            };
            television.publishAction(key, object.script);
        } else if (kind == TABLE) {
            television.publishTable(key, object.rows = makeRows());
        } else {
            television.publishBare(key, static_cast<ObjectTypeSpec>(object.type));
        }
        reference.publish(key, object);
    }

    /// Ends the faults of lookups and connects, and the faults that make operations throw.
    void clearFaults() {
        television.setRootLookup(simulator::RootLookup::published);
        reference.isReachable = true;
        for (auto& [name, key] : reference.keys) {
            television.throwFrom(name, key.throwingCall = Call::none);
            television.failConnects(name, key.connectFault = {.status = 0, .attempts = 0});
        }
    }

    /// Changes a value, an object or a fault under the key.
    void applyRandomChange(std::string const& name, int expectedKind) {
        ReferenceKey& key = reference.keys[name];
        auto const setRows = [&] {
            Rows const changed = makeRows();
            chooseReactions(nullptr);
            bool const fits = reference.setRows(key.object, changed);
            expect(television.setRows(name, changed) == fits, "a table takes rows");
        };
        auto const set = [&] {
            Value const changed = makeValue(expectedKind);
            chooseReactions(nullptr);
            bool const fits = reference.set(key.object, changed);
            expect(television.set(name, changed) == fits, "an object takes values of its type");
        };
        bytes.runOneOf(
            [&] { publish(name, chooseKind(expectedKind)); },
            [&] { expect(reference.withdraw(name) == television.withdraw(name), "what is published is withdrawn"); },
            setRows, setRows,
            [&] {
                auto const lookup = static_cast<simulator::RootLookup>(bytes.number(0, 3));
                reference.isReachable = lookup == simulator::RootLookup::published;
                television.setRootLookup(lookup);
            },
            [&] {
                key.connectFault = {bytes.number(0, 1), bytes.nextBool(), bytes.number(-1, 3)};
                television.failConnects(name, key.connectFault);
            },
            [&] {
                television.failReads(name, key.readFault = {bytes.number(-1, 1), bytes.nextBool()});
                television.failInvokes(name, key.invokeFault = bytes.number(-1, 1));
            },
            [&] { television.throwFrom(name, key.throwingCall = static_cast<Call>(bytes.number(0, 8))); },
            [&] {
                television.notifyEarly(name, key.notifiesDuringConnect = bytes.nextBool());
                television.refuseIterators(name, key.refusesIterators = bytes.nextBool());
            },
            [&] { clearFaults(); }, set, set, set, set);
    }

    /// Chooses the answer to later invocations.
    void chooseInvokeResult() {
        invocationsOfBothTelevisions.clear();
        answer = {.status = bytes.number(-1, 1)};
        if (bytes.nextBool()) {
            answer.actionId = bytes.number<unsigned int>();
        }
        if (int const outcome = bytes.number(0, 2); outcome == 1) {
            answer.outcome = bytes.number<int>();
        } else if (outcome == 2) {
            auto const makeResult = [this] { return Argument{0, bytes.number<std::int8_t>(-1, 3), 0, makeText()}; };
            answer.outcome = bytes.makeList(numberUpToThree(), makeResult);
        }
    }
    void checkInvokeArguments() const {
        auto const isSame = [](Argument const& expected, Argument const& actual) {
            return expected.index == actual.index &&
                   (expected.value == ARGUMENT_VALUE_WILDCARD || expected.value == actual.value);
        };
        // `invocationsOfBothTelevisions[0]` is the reference model's invocation.
        bool const isInvoked = invocationsOfBothTelevisions.size() == 2;
        expect(isInvoked ? std::ranges::equal(invocationsOfBothTelevisions[0], invocationsOfBothTelevisions[1], isSame)
                         : invocationsOfBothTelevisions.empty(),
               "the arguments arrive with the action");
    }

    Bytes bytes;
    simulator::Television television;
    ReferenceTelevision reference;

private:
    ActionAnswer answer;
    /// The invocations since the answer was chosen.
    std::vector<Arguments> invocationsOfBothTelevisions;
};

}  // namespace fuzz
