// The virtual slots are a binary contract, with the television on one side and with the embedding process on the other.

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <numeric>

#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/action_access.h"
#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/iterator_access.h"
#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/table_access.h"
#include "nrx_service/nrx_proxy/nrx_model_access/nrx_model_access.h"

namespace {

using namespace orvane::system::support;
using orvane::INrxModelAccess;
using orvane::NRXModelAccessClient;
using Strings = std::vector<std::string>;

/// The slot of a virtual member, as the Itanium C++ ABI and its ARM variant encode it.
template <typename Member>
int slotOf(Member member) {
    std::uintptr_t words[2];
    static_assert(sizeof member == sizeof words);
    std::memcpy(words, &member, sizeof words);
#if defined(__arm__) || defined(__aarch64__)
    return static_cast<int>(words[0] / sizeof(void*));
#else
    return static_cast<int>((words[0] - 1) / sizeof(void*));
#endif
}

template <typename... Members>
void expectSlotsFrom(int first, Members... members) {
    std::vector<int> expected(sizeof...(members));
    std::iota(expected.begin(), expected.end(), first);
    EXPECT_EQ((std::vector{slotOf(members)...}), expected);
}

/// Picks one of several overloads.
template <typename Signature>
constexpr auto pick = []<typename Class>(Signature Class::*member) { return member; };

struct BaseProbe : ValueAccessBase {
    using ValueAccessBase::onNewValue;
};

TEST(Layout, TheFacadeAndItsClientKeepTheirSlots) {
    using F = INrxModelAccess;
    expectSlotsFrom(2, &F::setClient, &F::start, &F::getSoftwareVersion, &F::getModelname, &F::getFeatureCode,
                    &F::getDeviceID, &F::startCommandListener, &F::stopCommandListener, &F::startEventListener,
                    &F::stopEventListener, &F::requestStartNRXService, &F::onNRXCommandValueChanged,
                    &F::onNRXEventValueChanged, &F::getAccessValue, &F::setAccessValue);
    expectSlotsFrom(0, &NRXModelAccessClient::onNRXCommandReceived, &NRXModelAccessClient::onNRXEventReceived);
}

TEST(Layout, ValuesKeepTheirSlots) {
    using V = IValueObject;
    expectSlotsFrom(
        2, &V::type, pick<V&(bool)>(&V::operator=), pick<V&(int)>(&V::operator=), pick<V&(unsigned)>(&V::operator=),
        pick<V&(long long)>(&V::operator=), pick<V&(unsigned long long)>(&V::operator=), pick<V&(float)>(&V::operator=),
        pick<V&(double)>(&V::operator=), pick<V&(std::string const&)>(&V::operator=), &V::convertToStringType,
        &V::operator bool, &V::operator int, &V::operator unsigned int, &V::operator long long,
        &V::operator unsigned long long, &V::operator float, &V::operator double, &V::operator std::string,
        &V::operator std::vector<unsigned int>, &V::operator std::vector<int>, &V::operator Strings);
    expectSlotsFrom(0, &ValueHandler::handleNewValue);
}

TEST(Layout, TheAccessObjectsKeepTheirSlots) {
    using B = ValueAccessBase;
    expectSlotsFrom(2, &B::setNewValueHandler, &B::connect, &B::disconnect, &B::getType, &B::getName,
                    pick<int(std::string&)>(&B::getValue), pick<int(int&)>(&B::getValue),
                    pick<int(long long&)>(&B::getValue), pick<int(Strings&)>(&B::getValue),
                    pick<int(std::vector<int>&)>(&B::getValue), pick<int(std::string const&)>(&B::setValue),
                    pick<int(int)>(&B::setValue), pick<int(long long)>(&B::setValue),
                    pick<int(Strings const&)>(&B::setValue), pick<int(std::vector<int> const&)>(&B::setValue),
                    &BaseProbe::onNewValue);
    using T = ValueAccessT<objbus::ObserverString>;
    expectSlotsFrom(18, pick<void(int)>(&T::notifyNewValue), pick<void(long long)>(&T::notifyNewValue),
                    pick<void(std::string const&)>(&T::notifyNewValue), &T::notifyIntegerVector,
                    &T::notifyStringVector);
    using A = ActionAccess;
    expectSlotsFrom(18, &A::setActionResultHandler, &A::invoke, &A::notifyExecutionError, &A::notifyResult);
    expectSlotsFrom(18, &TableAccess::setActionResultHandler, &TableAccess::notifyUpdate);
    using I = IteratorAccess;
    expectSlotsFrom(18, &I::create, &I::destroy, &I::setActionResultHandler, &I::notifyCommit, &I::notifyTotalCount,
                    &I::notifySeekToRow, &I::notifySeekToContent, &I::notifyCursorPosition, &I::notifyReadRow,
                    &I::notifyReadRowChunk, &I::notifyIteratorReady, &I::notifyUpdate);
    expectSlotsFrom(0, &ActionHandler::handleResult, &ActionHandler::handleExecutionError);
    using H = IteratorHandler;
    expectSlotsFrom(0, &H::handleCommit, &H::handleTotalCount, &H::handleSeekToRow, &H::handleSeekToContent,
                    &H::handleCursorPosition, &H::handleReadRow, &H::handleReadRowChunk, &H::handleIteratorReady,
                    &H::handleUpdate);
}

TEST(Layout, TheModelKeepsItsSlots) {
    using namespace objbus;
    expectSlotsFrom(2, &Object::getType);
    expectSlotsFrom(3, &ObjectNumericInteger::setValue, &ObjectNumericInteger::getValue);
    expectSlotsFrom(3, &ObjectNumericInt64::setValue, &ObjectNumericInt64::getValue);
    expectSlotsFrom(3, &ObjectString::getValue, &ObjectString::setValue);
    expectSlotsFrom(4, &ObjectVectorNumericInteger::setValue, &ObjectVectorNumericInteger::getValue);
    expectSlotsFrom(4, &ObjectVectorString::setValue, &ObjectVectorString::getValue);
    expectSlotsFrom(5, &ObjectAction::invoke);
    expectSlotsFrom(3, &ObjectTable::createIterator, &ObjectTable::destroyIterator);
    expectSlotsFrom(5, &RootInterface::connectObject, &RootInterface::disconnectObject);
    expectSlotsFrom(3, &ObserverNumericInteger::notifyNewValue);
    expectSlotsFrom(3, &ObserverNumericInt64::notifyNewValue);
    expectSlotsFrom(3, &ObserverString::notifyNewValue);
    expectSlotsFrom(3, &ObserverVectorNumericInteger::notifyIntegerVector);
    expectSlotsFrom(3, &ObserverVectorString::notifyStringVector);
    expectSlotsFrom(3, &ObserverAction::notifyResult, &ObserverAction::notifyExecutionError);
    expectSlotsFrom(3, &ObserverTable::notifyUpdate);
    using I = ObserverTableIterator;
    expectSlotsFrom(3, &I::notifyCommit, &I::notifyTotalCount, &I::notifySeekToRow, &I::notifySeekToContent,
                    &I::notifyCursorPosition, &I::notifyReadRow, &I::notifyReadRowChunk, &I::notifyIteratorReady,
                    &I::notifyUpdate);
}

}  // namespace
