// What is left behind when the model, or the memory, fails.

#include "hostile_model.h"
#include "nrx_service/nrx_proxy/nrx_model_access/nrx_model_access.h"
#include "support.h"

namespace test {
namespace {

using namespace objbus;
using Failing = HostileModel::Failing;
using orvane::NRXModelAccess;

class FailureTest : public TelevisionTest {
public:
    FailureTest() { tv.setRoot(&model); }

    HostileModel model;
};

TEST_F(FailureTest, AConnectThatBreaksOffLeavesNoRegistration) {
    ValueAccessT<ObserverString> value(KEY);
    ActionAccess action(KEY);
    auto iterator = std::make_unique<IteratorAccess>(KEY, nullptr, IteratorType{}, std::vector<TableSelection>(),
                                                     std::vector<int>(), std::vector<TableOrder>());
    model.failing = Failing::type;
    EXPECT_THROW(value.connect(0), std::bad_alloc);
    EXPECT_THROW(action.connect(0), std::bad_alloc);
    EXPECT_THROW(iterator->create(), std::bad_alloc);
    EXPECT_TRUE(model.registered.empty());

    beforeOwnLine = [] { throw std::bad_alloc(); };  // At the line of a mismatch, and then at the model, too.
    for (Failing const failing : {Failing::nowhere, Failing::disconnect}) {
        model.failing = failing;
        EXPECT_THROW(value.connect(0), std::bad_alloc);
        EXPECT_THROW(action.connect(0), std::bad_alloc);
        EXPECT_EQ(model.registered.size(), failing == Failing::nowhere ? 0U : 2U);
    }
    model.registered.clear();

    model.failing = Failing::create;
    EXPECT_THROW(iterator->create(), std::bad_alloc);
    EXPECT_EQ(iterator->getIterator(), nullptr);
    EXPECT_EQ(model.registered.size(), 1U);
    iterator.reset();
    EXPECT_TRUE(model.registered.empty());
}

TEST_F(FailureTest, DestructionNeedsNoMemoryAndOutlivesThePlatformsFailure) {
    auto const connected = [this] {
        model.type = OBJECT_TYPE_TABLE;
        auto const iterator = std::make_shared<IteratorAccess>(
            KEY, nullptr, IteratorType{}, std::vector<TableSelection>(), std::vector<int>(), std::vector<TableOrder>());
        EXPECT_EQ(iterator->create(), 0);
        model.type = OBJECT_TYPE_VECTOR_STRING;
        auto const list = std::make_shared<ValueAccessT<ObserverVectorString>>(KEY);
        EXPECT_EQ(list->connect(0), 0);
        auto const facade = std::make_shared<NRXModelAccess>();
        facade->start();
        model.type = OBJECT_TYPE_ACTION;
        facade->requestStartNRXService();
        EXPECT_EQ(model.registered.size(), 5U);
        return std::vector<std::shared_ptr<void>>{iterator, list, facade};
    };
    auto objects = connected();
    {
        WithoutMemory const none;
        objects.clear();
    }
    EXPECT_TRUE(model.registered.empty());
    objects = connected();
    model.failing = Failing::disconnect;
    objects.clear();
    EXPECT_EQ(model.registered.size(), 5U);  // The platform's own failure may leave them.
}

}  // namespace
}  // namespace test
