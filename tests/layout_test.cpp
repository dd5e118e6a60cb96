// The virtual slots are a binary contract, with the television on one side and with the embedding process on the other.

#include <gtest/gtest.h>

#include <cstring>

#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/action_access.h"
#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/iterator_access.h"
#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/table_access.h"
#include "nrx_service/nrx_proxy/nrx_model_access/nrx_model_access.h"

namespace {

using namespace objbus;
using namespace orvane;
using namespace orvane::system::support;

/// The slot of a virtual member, as the Itanium C++ ABI and its ARM variant encode it.
template <typename Member>
std::size_t slotOf(Member member) {
    std::size_t words[2];
    static_assert(sizeof member == sizeof words);
    std::memcpy(words, &member, sizeof words);
#if defined(__arm__) || defined(__aarch64__)
    return words[0] / sizeof(void*);
#else
    return (words[0] - 1) / sizeof(void*);
#endif
}

/// Picks one of several overloads.
template <typename Signature, typename Class>
constexpr auto pick(Signature Class::*member) {
    return member;
}

struct Base : ValueAccessBase {
    using ValueAccessBase::onNewValue;
};

TEST(Layout, TheVirtualOperationsKeepTheirSlots) {
    using Facade = INrxModelAccess;
    using Value = ValueAccessT<ObserverString>;
    using Strings = std::vector<std::string>;
    std::vector<std::pair<std::size_t, std::size_t>> const slots{
        {slotOf(&Facade::setClient), 2},
        {slotOf(&Facade::setAccessValue), 16},
        {slotOf(&NRXModelAccessClient::onNRXEventReceived), 1},
        {slotOf(pick<IValueObject&(bool)>(&IValueObject::operator=)), 3},
        {slotOf(&IValueObject::operator Strings), 22},
        {slotOf(&ValueAccessBase::connect), 3},
        {slotOf(pick<int(std::string&)>(&ValueAccessBase::getValue)), 7},
        {slotOf(&Base::onNewValue), 17},
        {slotOf(&Value::notifyStringVector), 22},
        {slotOf(&ActionAccess::invoke), 19},
        {slotOf(&ActionHandler::handleExecutionError), 1},
        {slotOf(&TableAccess::notifyUpdate), 19},
        {slotOf(&IteratorAccess::notifyUpdate), 29},
        {slotOf(&IteratorHandler::handleUpdate), 8},
        {slotOf(&Object::getType), 2},
        {slotOf(&ObjectNumericInteger::getValue), 4},
        {slotOf(&ObjectString::setValue), 4},
        {slotOf(&ObjectAction::invoke), 5},
        {slotOf(&ObjectTable::destroyIterator), 4},
        {slotOf(&RootInterface::disconnectObject), 6},
        {slotOf(&ObserverAction::notifyExecutionError), 4},
        {slotOf(&ObserverTableIterator::notifyUpdate), 11},
    };
    for (std::size_t row = 0; row < slots.size(); ++row) {
        EXPECT_EQ(slots[row].first, slots[row].second) << "row " << row;
    }
}

}  // namespace
