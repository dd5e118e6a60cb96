// Virtual slots and fields are a binary contract with the television and the embedding process. The test
// AbiMatchesTheRecord compares the slots of the exported classes with the record in abi/.

#include <array>
#include <bit>

#include "nrx_service/nrx_proxy/nrx_model_access/nrx_model_access.h"
#include "support.h"

namespace test::slot_test {

using namespace objbus;

/// Expects the virtual members in consecutive slots from `first` on. A destructor takes two slots. The first word of a
/// pointer to a virtual member is the byte offset of the member's slot. On some processors, the word is one greater.
template <typename... Members>
void expectSlots(std::size_t first, Members... members) {
    for (auto const& words : {std::bit_cast<std::array<std::size_t, 2>>(members)...}) {
        EXPECT_EQ(words[0] / sizeof(void*), first++);
    }
}

TEST(Slots, PlatformClasses) {
    expectSlots(2, &Object::getType, &ObjectNumericInteger::setValue, &ObjectNumericInteger::getValue);
    expectSlots(3, &ObjectNumericInt64::setValue, &ObjectNumericInt64::getValue);
    expectSlots(3, &ObjectString::getValue, &ObjectString::setValue);
    expectSlots(4, &ObjectVectorNumericInteger::setValue, &ObjectVectorNumericInteger::getValue);
    expectSlots(4, &ObjectVectorString::setValue, &ObjectVectorString::getValue);
    expectSlots(5, &ObjectAction::invoke);
}

TEST(Slots, ClientInterfaces) {
    expectSlots(0, &ValueHandler::handleNewValue);
    expectSlots(0, &ActionHandler::handleResult, &ActionHandler::handleExecutionError);
    using H = IteratorHandler;
    expectSlots(0, &H::handleCommit, &H::handleTotalCount, &H::handleSeekToRow, &H::handleSeekToContent,
                &H::handleCursorPosition, &H::handleReadRow, &H::handleReadRowChunk, &H::handleIteratorReady,
                &H::handleUpdate);
}

/// Expects the fields in this order in a class of `size` bytes. The size shows that the class has no other field.
template <typename Class, typename... Fields>
void expectFields(std::size_t size, Fields... fields) {
    EXPECT_EQ(sizeof(Class), size);
    std::size_t least = 0;
    for (std::size_t const offset : {std::bit_cast<std::size_t>(fields)...}) {
        EXPECT_GE(offset, least);
        least = offset + 1;
    }
}

TEST(Fields, HaveTheRecordedOrderAndSizes) {  // -fno-access-control gives access to the fields.
    constexpr std::size_t WORD = sizeof(void*);
    constexpr std::size_t TEXT = sizeof(std::string);
    constexpr std::size_t ACCESS = 6 * WORD + TEXT;
    using F = orvane::NRXModelAccess;
    expectFields<F>(WORD == 4 ? 56 : 112, &F::client, &F::commandListenerStarted, &F::eventListenerStarted,
                    &F::commandValue, &F::eventValue, &F::softwareVersionValue, &F::featureCodeValue,
                    &F::productionTypeValue, &F::sourceSwitchAction);
    using B = ValueAccessBase;
    expectFields<B>(ACCESS - WORD, &B::object, &B::handler, &B::name, &B::connectTimeoutMs);
    expectFields<ValueAccessT<ObserverVectorString>>(ACCESS, &B::object);
    expectFields<ActionAccess>(ACCESS + 2 * WORD, &ActionAccess::actionHandler);
    expectFields<TableAccess>(ACCESS + 3 * WORD, &TableAccess::tableHandler, &TableAccess::table);
    using I = IteratorAccess;
    expectFields<I>(ACCESS + 14 * WORD, &I::iteratorHandler, &I::iteratorType, &I::selections, &I::columns, &I::orders,
                    &I::iterator, &I::tableAccess);
    using H = ValueHandlerT<F>;
    expectFields<H>(4 * WORD, &H::object, &H::member);
    using V = ValueObject;
    expectFields<V>(WORD == 4 ? 48 + alignof(V) : 80, &V::typeTag, &V::scalar, &V::stringValue, &V::elements);
}

}  // namespace test::slot_test
