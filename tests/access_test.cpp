// Tests the behaviour that all access objects have in common. fuzz/access_fuzz.cpp tests sequences of model events.

#include <climits>

#include "support.h"

namespace test::access_test {

using namespace objbus;
using simulator::Call;
using simulator::RootLookup;

template <typename Access>
std::unique_ptr<ValueAccessBase> make() {
    return std::make_unique<Access>(KEY);
}

template <typename Access>
struct Renamed : Access {
    Renamed() : Access(KEY) {}
    std::string getName() override { return "alias"; }
};

/// A type of object in the model, its access class and, if the type is a plain value, the object's value.
struct Kind {
    ObjectTypeSpec type;
    LoggingSourceFile source;
    std::string observer;
    std::unique_ptr<ValueAccessBase> (*make)();
    Value value{};
};

Kind const KINDS[] = {
    {OBJECT_TYPE_NUMERIC_INTEGER, VALUE, "ObserverNumericInteger", make<ValueAccessT<ObserverNumericInteger>>, 5},
    {OBJECT_TYPE_NUMERIC_INT64, VALUE, "ObserverNumericInt64", make<ValueAccessT<ObserverNumericInt64>>, 6LL},
    {OBJECT_TYPE_STRING, VALUE, "ObserverString", make<ValueAccessT<ObserverString>>, "old"s},
    {OBJECT_TYPE_VECTOR_NUMERIC_INTEGER, VALUE, "ObserverVectorNumericInteger",
     make<ValueAccessT<ObserverVectorNumericInteger>>, Integers{1, 2}},
    {OBJECT_TYPE_VECTOR_STRING, VALUE, "ObserverVectorString", make<ValueAccessT<ObserverVectorString>>, Strings{"p"}},
    {OBJECT_TYPE_ACTION, ACTION, "ObserverAction", make<ActionAccess>},
    {OBJECT_TYPE_TABLE, TABLE, "", make<TableAccess>},
};

/// The numbers of all types, and numbers that name no type.
int const TYPES[] = {INT_MIN, -1, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 255, INT_MAX};

std::string nameOf(int type) {
    Strings const names{"NUMERIC_INTEGER", "STRING", "VECTOR_NUMERIC_INTEGER", "VECTOR_STRING",
                        "ACTION",          "TABLE",  "VECTOR_INTEGER",         "NUMERIC_INT64"};
    return "OBJECT_TYPE_" + (type < 1 || type > 8 ? "NONE" : names[static_cast<std::size_t>(type) - 1]);
}

/// A read or a write. `accepted` maps each type that accepts the operation to the object's value after the operation.
struct Operation {
    std::string name;
    std::function<int(ValueAccessBase&)> call;
    std::map<ObjectTypeSpec, Value> accepted;
    std::string number{};  ///< The text of a written number.

    /// The log lines of a call. If `refusing` is set, the call fails because the object has the type `refusing`.
    [[nodiscard]] Lines lines(std::optional<ObjectTypeSpec> refusing, Lines inside = {}) const {
        if (refusing) {
            bool const large = refusing == OBJECT_TYPE_NUMERIC_INTEGER;
            std::string const mismatch = "Object Type mismatch:  " + nameOf(*refusing);
            std::string const tooLarge = "Value is too large for int32 value:  [" + number + "] ";
            std::string const text = number.empty() ? mismatch : large ? tooLarge : "STATUS_ERR_VALUE_TYPE_MISMATCH";
            inside.push_back(BASE.error(name, text));
        }
        return name == "setValue" ? BASE.traced(name, inside) : inside;
    }
};

/// Reads into a variable. The variable must change if and only if the read succeeds.
template <typename T>
Operation read(ObjectTypeSpec type, T const& before, T const& inModel) {
    auto const call = [=](ValueAccessBase& access) {
        T out = before;
        int const status = access.getValue(out);
        EXPECT_EQ(out, status == 0 ? inModel : before);
        return status;
    };
    return {"getValue", call, {{type, inModel}}};
}

template <typename T>
Operation write(T const& value, std::map<ObjectTypeSpec, Value> const& accepted, std::string const& number = "") {
    return {"setValue", [=](ValueAccessBase& access) { return access.setValue(value); }, accepted, number};
}
Operation writeNumber(auto value, std::map<ObjectTypeSpec, Value> const& accepted) {
    return write(value, accepted, std::to_string(value));
}

Operation const OPERATIONS[] = {
    read(OBJECT_TYPE_NUMERIC_INTEGER, -1, 5),
    read(OBJECT_TYPE_NUMERIC_INT64, -1LL, 6LL),
    read(OBJECT_TYPE_STRING, "before"s, "old"s),
    read(OBJECT_TYPE_VECTOR_NUMERIC_INTEGER, Integers{9}, Integers{1, 2}),
    read(OBJECT_TYPE_VECTOR_STRING, Strings{"z"}, Strings{"p"}),
    writeNumber(-1, {{OBJECT_TYPE_NUMERIC_INTEGER, -1}, {OBJECT_TYPE_NUMERIC_INT64, -1LL}}),
    writeNumber(-2147483648LL, {{OBJECT_TYPE_NUMERIC_INTEGER, INT_MIN}, {OBJECT_TYPE_NUMERIC_INT64, -2147483648LL}}),
    writeNumber(2147483647LL, {{OBJECT_TYPE_NUMERIC_INTEGER, INT_MAX}, {OBJECT_TYPE_NUMERIC_INT64, 2147483647LL}}),
    writeNumber(-2147483649LL, {{OBJECT_TYPE_NUMERIC_INT64, -2147483649LL}}),
    writeNumber(2147483648LL, {{OBJECT_TYPE_NUMERIC_INT64, 2147483648LL}}),
    write("new"s, {{OBJECT_TYPE_STRING, "new"s}}),
    write(Integers{7, 8, 9}, {{OBJECT_TYPE_VECTOR_NUMERIC_INTEGER, Integers{7, 8, 9}}}),
    write(Strings{}, {{OBJECT_TYPE_VECTOR_STRING, Strings{}}}),
};

/// The reason why a connect is refused, and the number in its log line.
struct Refusal {
    RootLookup root = RootLookup::published;
    simulator::ConnectFault unavailable{.status = 0, .attempts = 0};
    std::optional<int> type{};  ///< The type of the model's object. Empty: the type that the access object expects.
    int failed = 5;             ///< The number in the log line.

    [[nodiscard]] int status() const { return type ? 6 : 5; }
};

/// The parameter says whether the log refuses every line.
class AccessTest : public TelevisionTest, public ::testing::WithParamInterface<bool> {
public:
    AccessTest() {
        refusesLogLinesOfOtherThreads = true;
        isLogOff = GetParam();
    }

    /// Publishes an object of the type, with the value of its kind if the kind has a value.
    void publish(int type) {
        tv.publishBare(KEY, static_cast<ObjectTypeSpec>(type));
        for (Kind const& kind : KINDS) {
            kind.type == type ? tv.set(KEY, kind.value) : false;
        }
    }
    void expectLines(Lines const& lines) { EXPECT_EQ(logged(), isLogOff ? Lines{} : lines); }
    void expectRefusal(Refusal const& refusal, Kind const& kind) {
        auto const access = kind.make();
        int const published = refusal.type.value_or(kind.type);
        publish(published);
        tv.setRootLookup(refusal.root);
        tv.failConnects(KEY, refusal.unavailable);
        testing::internal::CaptureStdout();
        takeSleepMicroseconds();
        EXPECT_EQ(access->connect(0), refusal.status());
        EXPECT_TRUE(takeSleepMicroseconds().empty());
        bool const reported = refusal.root == RootLookup::refused || refusal.root == RootLookup::emptyReference;
        EXPECT_EQ(testing::internal::GetCapturedStdout(), reported ? "get interface Reference failed.\n" : "");
        std::string const vs = "test.key,( " + std::to_string(published) + " ) vs " + kind.observer + " ";
        std::string const mismatch = "Observer Type not match for " + vs;
        std::string const failed = "Failed " + std::to_string(refusal.failed);
        Lines const refused{kind.source.error("connect", refusal.type ? mismatch : failed)};
        expectLines(refused);
        std::string const onDemand = "BizValue connect failed:'test.key', ret: " + std::to_string(refusal.status());
        for (Operation const& operation : OPERATIONS) {
            EXPECT_EQ(operation.call(*access), refusal.status());
            expectLines(operation.lines({}, refused + Lines{BASE.error("tryConnectIfNeeded", onDemand)}));
        }
        EXPECT_EQ(tv.registrations(KEY), 0);
        tv.setRootLookup(RootLookup::published);
        int const before = tv.counts(KEY).disconnectsWithoutObject;
        EXPECT_EQ(access->disconnect(), 0);  // `disconnect` calls the model even if no object is connected.
        EXPECT_EQ(tv.counts(KEY).disconnectsWithoutObject - before, 1);
    }
};
INSTANTIATE_TEST_SUITE_P(Refused, AccessTest, ::testing::Bool());

TEST_P(AccessTest, FailedConnectsReturnAndLogTheirStatus) {
    std::vector<Refusal> refusals{{.root = RootLookup::refused},
                                  {.root = RootLookup::emptyReference},
                                  {.root = RootLookup::nullObject},
                                  {.unavailable = {0, false}, .failed = 0},
                                  {.unavailable = {INT_MIN, true}, .failed = INT_MIN}};
    std::transform(std::begin(TYPES), std::end(TYPES), std::back_inserter(refusals),
                   [](int type) { return Refusal{.type = type}; });
    for (Refusal const& refusal : refusals) {
        for (Kind const& kind : KINDS) {
            SCOPED_TRACE(testing::Message() << "refusal " << &refusal - refusals.data() << ", type " << kind.type);
            bool const accepted = refusal.type && (kind.type == OBJECT_TYPE_TABLE || kind.type == refusal.type);
            accepted ? void() : expectRefusal(refusal, kind);
        }
    }
}

TEST_P(AccessTest, ReadsAndWritesOfAnotherTypeFailAndLogTheType) {
    for (int const number : TYPES) {
        auto const type = static_cast<ObjectTypeSpec>(number);
        TableAccess access(KEY);  // Accepts objects of every type.
        publish(type);
        EXPECT_EQ(access.connect(0) + access.connect(0), 0);
        EXPECT_EQ(tv.registrations(KEY), 1);
        for (Operation const& operation : OPERATIONS) {
            bool const fits = operation.accepted.contains(type);
            auto const value = tv.get(KEY);
            EXPECT_EQ(operation.call(access), fits ? 0 : 6);
            EXPECT_EQ(tv.get(KEY), fits ? operation.accepted.at(type) : value);
            expectLines(operation.lines(fits ? std::nullopt : std::optional(type)));
            value ? tv.set(KEY, *value) : false;
        }
        access.disconnect();
    }
    auto const counts = tv.counts(KEY);
    EXPECT_EQ(std::pair(counts.reads, counts.writes), std::pair(5, 11));
}

TEST_P(AccessTest, AnIteratorNeedsATableAndHasNoObject) {
    IteratorAccess access(KEY, nullptr, IteratorType{}, {}, {}, {});
    for (Operation const& operation : OPERATIONS) {
        EXPECT_EQ(operation.call(access), 6);
        Lines lines{BASE.info("tryConnectIfNeeded", "BizValue connect successfully:'test.key'.")};
        if (operation.number.empty()) {
            lines.push_back(BASE.error("getType", "Unknown Type since value is not connected  : test.key."));
        }
        expectLines(operation.lines(OBJECT_TYPE_NONE, lines));
    }
    EXPECT_EQ(access.create(), 4);
    EXPECT_EQ(takeSleepMicroseconds().size(), 10U);
    std::string const failed = "Error connect name : test.key,  status: ";
    expectLines({TABLE.error("connect", "Failed 104"), ITERATOR.error("create", failed + "5")});
    for (int const type : TYPES) {
        bool const table = type < 1 || type > 8 || type == OBJECT_TYPE_TABLE;  // An unknown type counts as a table.
        publish(type);
        EXPECT_EQ(access.create(), table ? 0 : 4);
        expectLines(table ? Lines{} : Lines{ITERATOR.error("create", failed + "6")});
        EXPECT_EQ(access.destroy(), 0);
    }
}

TEST_P(AccessTest, ExceptionsOfTheModelLeaveNoRegistration) {
    Renamed<ValueAccessT<ObserverString>> value;
    Renamed<ActionAccess> action;
    tv.publishTable(KEY, {});
    beforeLogLineOfTestThread = [] {
        throw std::bad_alloc();
    };  // The log throws when `connect` logs a type mismatch. In the second round, the model's disconnect also throws.
    for (Call const call : {Call::none, Call::disconnect}) {
        tv.throwFrom(KEY, call);
        EXPECT_THROW(value.connect(0), std::bad_alloc);
        EXPECT_THROW(action.connect(0), std::bad_alloc);
        EXPECT_EQ(tv.registrations(KEY), call == Call::none ? 0 : 2);
    }
    beforeLogLineOfTestThread = [] {};
    tv.throwFrom(KEY, Call::none);
    EXPECT_EQ(value.connect(0) + action.connect(0), 12);
    EXPECT_EQ(tv.counts("alias").disconnects, 2);  // `connect` passes `getName()` to the disconnect of the object.
    tv.publish(KEY, "text"s);
    auto doomed = std::make_unique<ValueAccessT<ObserverString>>(KEY);
    EXPECT_EQ(doomed->connect(0), 0);
    tv.throwFrom(KEY, Call::disconnect);
    doomed.reset();  // The destructor catches the exception of its disconnect.
    EXPECT_EQ(tv.registrations(KEY), 5);
}

}  // namespace test::access_test
