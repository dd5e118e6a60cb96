// The virtual slots and the fields are a binary contract, with the television on one side and with the embedding
// process on the other.

#include <array>
#include <bit>

#include "nrx_service/nrx_proxy/nrx_model_access/nrx_model_access.h"
#include "support.h"

namespace test {
namespace {

using namespace objbus;
using orvane::INrxModelAccess;
using orvane::NRXModelAccessClient;

/// Expects the virtual members, one after the other, from the slot on; a destructor takes two. The first word of a
/// pointer to a member is the offset of its slot, on some processors plus one.
template <typename... Members>
void expectSlots(std::size_t first, Members... members) {
    for (auto const& words : {std::bit_cast<std::array<std::size_t, 2>>(members)...}) {
        EXPECT_EQ(words[0] / sizeof(void*), first++);
    }
}

TEST(Slots, TheTelevisionsObjectsAndObservers) {
    expectSlots(2, &Object::getType, &ObjectNumericInteger::setValue, &ObjectNumericInteger::getValue);
    expectSlots(3, &ObjectNumericInt64::setValue, &ObjectNumericInt64::getValue);
    expectSlots(3, &ObjectString::getValue, &ObjectString::setValue);
    expectSlots(4, &ObjectVectorNumericInteger::setValue, &ObjectVectorNumericInteger::getValue);
    expectSlots(4, &ObjectVectorString::setValue, &ObjectVectorString::getValue);
    expectSlots(3, &ObjectTable::createIterator, &ObjectTable::destroyIterator);
    expectSlots(5, &ObjectAction::invoke);
    expectSlots(5, &RootInterface::connectObject, &RootInterface::disconnectObject);

    expectSlots(3, &ObserverNumericInteger::notifyNewValue);
    expectSlots(3, &ObserverNumericInt64::notifyNewValue);
    expectSlots(3, &ObserverString::notifyNewValue);
    expectSlots(3, &ObserverVectorNumericInteger::notifyIntegerVector);
    expectSlots(3, &ObserverVectorString::notifyStringVector);
    expectSlots(3, &ObserverAction::notifyResult, &ObserverAction::notifyExecutionError);
    expectSlots(3, &ObserverTable::notifyUpdate);
    using O = ObserverTableIterator;
    expectSlots(3, &O::notifyCommit, &O::notifyTotalCount, &O::notifySeekToRow, &O::notifySeekToContent,
                &O::notifyCursorPosition, &O::notifyReadRow, &O::notifyReadRowChunk, &O::notifyIteratorReady,
                &O::notifyUpdate);
}

// The overloads, by their parameters.
template <typename T>
constexpr auto ASSIGN = static_cast<IValueObject& (IValueObject::*)(T)>(&IValueObject::operator=);
template <typename T>
constexpr auto READ = static_cast<int (ValueAccessBase::*)(T&)>(&ValueAccessBase::getValue);
template <typename T>
constexpr auto WRITE = static_cast<int (ValueAccessBase::*)(T)>(&ValueAccessBase::setValue);
template <typename T>
constexpr auto NOTIFY =
    static_cast<void (ValueAccessT<ObserverString>::*)(T)>(&ValueAccessT<ObserverString>::notifyNewValue);

TEST(Slots, OursAndTheEmbeddingProcesses) {
    using I = INrxModelAccess;
    expectSlots(2, &I::setClient, &I::start, &I::getSoftwareVersion, &I::getModelname, &I::getFeatureCode,
                &I::getDeviceID, &I::startCommandListener, &I::stopCommandListener, &I::startEventListener,
                &I::stopEventListener, &I::requestStartNRXService, &I::onNRXCommandValueChanged,
                &I::onNRXEventValueChanged, &I::getAccessValue, &I::setAccessValue);
    expectSlots(0, &NRXModelAccessClient::onNRXCommandReceived, &NRXModelAccessClient::onNRXEventReceived);
    expectSlots(0, &ValueHandler::handleNewValue);
    expectSlots(0, &ActionHandler::handleResult, &ActionHandler::handleExecutionError);
    using H = IteratorHandler;
    expectSlots(0, &H::handleCommit, &H::handleTotalCount, &H::handleSeekToRow, &H::handleSeekToContent,
                &H::handleCursorPosition, &H::handleReadRow, &H::handleReadRowChunk, &H::handleIteratorReady,
                &H::handleUpdate);
    using V = IValueObject;
    expectSlots(2, &V::type, ASSIGN<bool>, ASSIGN<int>, ASSIGN<unsigned int>, ASSIGN<long long>,
                ASSIGN<unsigned long long>, ASSIGN<float>, ASSIGN<double>, ASSIGN<std::string const&>,
                &V::convertToStringType, &V::operator bool, &V::operator int, &V::operator unsigned int,
                &V::operator long long, &V::operator unsigned long long, &V::operator float, &V::operator double,
                &V::operator std::string, &V::operator std::vector<unsigned int>, &V::operator std::vector<int>,
                &V::operator std::vector<std::string>);
    using B = ValueAccessBase;
    using A = ValueAccessT<ObserverString>;
    expectSlots(2, &B::setNewValueHandler, &B::connect, &B::disconnect, &B::getType, &B::getName, READ<std::string>,
                READ<int>, READ<long long>, READ<Strings>, READ<Integers>, WRITE<std::string const&>, WRITE<int>,
                WRITE<long long>, WRITE<Strings const&>, WRITE<Integers const&>, &B::onNewValue, NOTIFY<int>,
                NOTIFY<long long>, NOTIFY<std::string const&>, &A::notifyIntegerVector, &A::notifyStringVector);
    expectSlots(18, &ActionAccess::setActionResultHandler, &ActionAccess::invoke, &ActionAccess::notifyExecutionError,
                &ActionAccess::notifyResult);
    expectSlots(18, &TableAccess::setActionResultHandler, &TableAccess::notifyUpdate);
    using T = IteratorAccess;
    expectSlots(18, &T::create, &T::destroy, &T::setActionResultHandler, &T::notifyCommit, &T::notifyTotalCount,
                &T::notifySeekToRow, &T::notifySeekToContent, &T::notifyCursorPosition, &T::notifyReadRow,
                &T::notifyReadRowChunk, &T::notifyIteratorReady, &T::notifyUpdate);
}

/// Expects the fields to be in this order in a class of the size: which fields those are, their sizes tell.
template <typename Class, typename... Fields>
void expectFields(std::size_t size, Fields... fields) {
    EXPECT_EQ(sizeof(Class), size);
    std::size_t least = 0;
    for (std::size_t const offset : {std::bit_cast<std::size_t>(fields)...}) {
        EXPECT_GE(offset, least);
        least = offset + 1;
    }
}

TEST(Fields, StandInTheirOrderAndAreAllThereIs) {  // Compiled without the control of access.
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
    expectFields<V>(16 + TEXT + (WORD == 4 ? 16 : 32), &V::typeTag, &V::scalar, &V::stringValue, &V::elements);
}

}  // namespace
}  // namespace test
