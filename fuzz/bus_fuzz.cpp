// Messages of any content, as no bus would bring them, read and heard by the platform library. The content is kept
// beside them as a tree, which says what must have been understood.

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <future>
#include <tuple>

#include "bus/client/remote_model.h"
#include "bus/client/remote_table.h"
#include "bus/protocol/contract.h"
#include "fuzz/harness.h"

namespace {

using namespace objbus;
using fuzz::expect;
using Bytes = FuzzedDataProvider;
using Strings = std::vector<std::string>;
using Rows = std::vector<Strings>;
template <typename T>
using Plain = television::PlainKind<T>;

/// One value: its type as the bus writes it, and its number, its text, or what it contains.
struct Item {
    std::string type;
    long long number = 0;
    std::string text{};
    std::vector<Item> items{};

    bool operator==(Item const& other) const = default;
    [[nodiscard]] bool isText() const { return type == "s" || type == "o" || type == "g"; }
    [[nodiscard]] bool isContainer() const { return std::string_view("a({v").find(type[0]) != std::string_view::npos; }
};

// ---- Trees of any content

constexpr char const* BASICS[] = {"y", "b", "n", "q", "i", "u", "x", "t", "d", "s", "o", "g"};
constexpr char const* TYPES[] = {"i",       "u",      "x",     "s",     "ai",   "as",     "aas",
                                 "a(nnns)", "a(iis)", "a(ii)", "a{sv}", "(iv)", "a{oas}", "v"};
constexpr char const* TEXTS[] = {"",
                                 "Value",
                                 "Other",
                                 "a{sv}",
                                 "/a",
                                 Plain<int>::INTERFACE,
                                 "\xf0\x9f\x93\xba",
                                 "\xef\xbf\xbf",
                                 Plain<std::string>::INTERFACE};

std::string textFrom(Bytes& bytes) {
    return bytes.ConsumeBool() ? bytes.PickValueInArray(TEXTS) : bytes.ConsumeRandomLengthString(40);
}

/// The first of the types that stand one after the other.
std::string_view firstOf(std::string_view types) {
    std::size_t end = types.find_first_not_of('a');
    for (int depth = 0; end < types.size(); ++end) {
        depth += types[end] == '(' || types[end] == '{' ? 1 : types[end] == ')' || types[end] == '}' ? -1 : 0;
        if (depth == 0) {
            break;
        }
    }
    return types.substr(0, end + 1);
}

/// A value of the type.
Item grow(Bytes& bytes, std::string_view type) {
    Item item{std::string(type)};
    if (type[0] == 'a') {
        for (int count = bytes.ConsumeIntegralInRange(0, 4); count > 0; --count) {
            item.items.push_back(grow(bytes, type.substr(1)));
        }
    } else if (type[0] == 'v') {
        item.items.push_back(
            grow(bytes, bytes.ConsumeBool() ? bytes.PickValueInArray(TYPES) : bytes.PickValueInArray(BASICS)));
    } else if (item.isContainer()) {
        for (auto rest = type.substr(1, type.size() - 2); !rest.empty(); rest.remove_prefix(firstOf(rest).size())) {
            item.items.push_back(grow(bytes, firstOf(rest)));
        }
    } else if (item.isText()) {
        item.text = textFrom(bytes);
    } else {
        item.number =
            bytes.ConsumeBool() ? bytes.ConsumeIntegralInRange(-129, 128) : bytes.ConsumeIntegral<long long>();
    }
    return item;
}

/// Makes it one value again, whatever was done to it.
void mend(Item& item) {
    std::string types;
    for (Item& inner : item.items) {
        mend(inner);
        types += inner.type;
    }
    char const first = item.type[0];
    if (first == 'a' && !item.items.empty()) {
        item.type = 'a' + item.items[0].type;
        std::erase_if(item.items, [&item](Item const& inner) { return 'a' + inner.type != item.type; });
    } else if (first == '(' || first == '{') {
        item.type = first + types + (first == '(' ? ')' : '}');
    }
    item.text = item.isText() ? item.text : "";
    long long const number = item.isText() ? 0 : item.number;
    item.number = first == 'n'   ? static_cast<std::int16_t>(number)
                  : first == 'i' ? static_cast<std::int32_t>(number)
                  : first == 'u' ? static_cast<std::uint32_t>(number)
                                 : number;
}

/// Changes something inside.
void mutate(Bytes& bytes, Item& root) {
    Item* in = nullptr;
    Item* at = &root;
    do {
        in = std::exchange(at, &at->items[bytes.ConsumeIntegralInRange<std::size_t>(0, at->items.size() - 1)]);
    } while (!at->items.empty() && bytes.ConsumeBool());
    switch (bytes.ConsumeIntegralInRange(0, 6)) {
        case 0:
            *at = grow(bytes, bytes.PickValueInArray(TYPES));
            break;
        case 1:
            *at = Item{bytes.ConsumeBool() ? "v" : "a", 0, "", {*at}};
            break;
        case 2:
            in->items.erase(in->items.begin() + (at - in->items.data()));
            break;
        case 3:
            std::swap(*at, in->items[0]);
            break;
        case 4:  // A list of lists must not become long in both.
            in->items.resize(in->items.size() + bytes.ConsumeIntegralInRange(1U, at->items.empty() ? 300U : 2U),
                             Item(*at));
            break;
        case 5:
            at->text += textFrom(bytes);
            break;
        default:
            at->type = at->isContainer() ? at->type : bytes.PickValueInArray(BASICS);
    }
}

/// The content of a message that is to have these types, and mostly has them.
Item contentFrom(Bytes& bytes, std::string_view types) {
    Item root = grow(bytes, '(' + std::string(types) + ')');
    for (int count = bytes.ConsumeIntegralInRange(0, 3); count > 0 && !root.items.empty(); --count) {
        mutate(bytes, root);
    }
    mend(root);
    return root;
}

// ---- What they say

/// A plain second opinion on what the bus carries.
bool isCarried(std::string_view text) {
    auto const byteAt = [text](std::size_t at) { return at < text.size() ? text[at] & 0xFF : 0; };
    for (std::size_t at = 0; at < text.size();) {
        int const lead = byteAt(at++);
        int const more = lead < 0x80 ? 0 : lead < 0xC0 ? -1 : lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : lead < 0xF8 ? 3 : -1;
        int code = more <= 0 ? lead : lead & (0x3F >> more);
        for (int left = more; left > 0; --left, ++at) {
            if ((byteAt(at) & 0xC0) != 0x80) {
                return false;
            }
            code = code * 64 + (byteAt(at) & 0x3F);
        }
        constexpr int LEAST[] = {1, 0x80, 0x800, 0x10000};
        if (more < 0 || code < LEAST[more] || code > 0x10FFFF || (code >= 0xD800 && code < 0xE000) ||
            (code >= 0xFDD0 && code < 0xFDF0) || code % 0x10000 >= 0xFFFE) {
            return false;
        }
    }
    return true;
}

bool isSound(Item const& item) {
    return (item.type != "s" || isCarried(item.text)) && std::all_of(item.items.begin(), item.items.end(), isSound);
}

/// Whether the item is to be read as a value of the type: an argument's index and flags are bytes.
bool isGiven(Item const& item, std::string_view type) {
    auto const hasBytes = [](Item const& argument) {
        return std::all_of(argument.items.begin() + 1, argument.items.begin() + 3,
                           [](Item const& byte) { return byte.number >= -128 && byte.number <= 127; });
    };
    return item.type == type && isSound(item) &&
           (type != "a(nnns)" || std::all_of(item.items.begin(), item.items.end(), hasBytes));
}

// ---- Values, and their trees

auto fieldsOf(Argument& value) { return std::tie(value.tag, value.index, value.flags, value.value); }
auto fieldsOf(TableSelection& value) { return std::tie(value.first, value.second, value.value); }
auto fieldsOf(TableOrder& value) { return std::tie(value.first, value.second); }

void fill(Bytes& bytes, std::string& value) { value = textFrom(bytes); }
void fill(Bytes& bytes, std::integral auto& value) {
    value = bytes.ConsumeIntegral<std::remove_reference_t<decltype(value)>>();
}
template <typename T>
void fill(Bytes& bytes, T& value) {
    std::apply([&bytes](auto&... fields) { (fill(bytes, fields), ...); }, fieldsOf(value));
}
template <typename T>
void fill(Bytes& bytes, std::vector<T>& values) {
    for (int count = bytes.ConsumeIntegralInRange(0, 4); count > 0; --count) {
        fill(bytes, values.emplace_back());
    }
}

Item itemOf(std::string const& value) { return {"s", 0, value}; }
template <std::integral T>
Item itemOf(T value) {
    return {sizeof(T) < 4 ? "n" : sizeof(T) > 4 ? "x" : std::is_signed_v<T> ? "i" : "u", value};
}
template <typename T>
Item itemOf(T value) {
    Item item{"()"};
    std::apply([&item](auto const&... fields) { item.items = {itemOf(fields)...}; }, fieldsOf(value));
    mend(item);
    return item;
}
template <typename T>
Item itemOf(std::vector<T> const& values) {
    Item item{'a' + itemOf(T{}).type};
    std::transform(values.begin(), values.end(), std::back_inserter(item.items),
                   [](T const& one) { return itemOf(one); });
    return item;
}

// ---- Messages

sd_bus* localBus() {
    static bus::Bus const local = [] {
        int ends[2]{};
        sd_bus* made = nullptr;
        expect(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends) == 0 && sd_bus_new(&made) >= 0 &&
                   sd_bus_set_fd(made, ends[0], ends[0]) >= 0 && sd_bus_start(made) >= 0,
               "a bus begins");
        return bus::Bus(made);
    }();
    return local.get();
}

struct Signal {
    char const* interface;
    char const* name;
    std::string_view types;
};
constexpr char CHANGE[] = "PropertiesChanged";
constexpr Signal SIGNALS[] = {
    {bus::PROPERTIES_INTERFACE, CHANGE, "sa{sv}as"},  {bus::ACTION_INTERFACE, "Result", "ua(nnns)"},
    {bus::ACTION_INTERFACE, "ExecutionError", "ui"},  {bus::TABLE_INTERFACE, "Updated", "i"},
    {bus::ITERATOR_INTERFACE, "Ready", "i"},          {bus::ITERATOR_INTERFACE, "TotalCount", "i"},
    {bus::ITERATOR_INTERFACE, "RowSought", "i"},      {bus::ITERATOR_INTERFACE, "ContentSought", "i"},
    {bus::ITERATOR_INTERFACE, "CursorMoved", "i"},    {bus::ITERATOR_INTERFACE, "RowRead", "as"},
    {bus::ITERATOR_INTERFACE, "RowChunkRead", "aas"}, {bus::ITERATOR_INTERFACE, "Committed", "i"},
    {bus::ITERATOR_INTERFACE, "Updated", "i"},
};

int put(sd_bus_message* message, Item const& item, int depth = 0) {
    char const first = item.type[0];
    char const* const type = item.type.c_str();
    if (item.type == "s") {  // As it is: who sends may have another idea of what is carried.
        char* space = nullptr;
        int const result = sd_bus_message_append_string_space(message, item.text.size(), &space);
        result < 0 ? space : std::copy(item.text.begin(), item.text.end(), space);
        return result;
    }
    if (item.isText()) {
        return sd_bus_message_append(message, type, item.text.c_str());
    }
    if (!item.isContainer()) {
        return first == 'x' || first == 't' ? sd_bus_message_append(message, type, item.number)
               : first == 'd'               ? sd_bus_message_append(message, type, static_cast<double>(item.number))
                                            : sd_bus_message_append(message, type, static_cast<int>(item.number));
    }
    if (depth > 60 || (item.items.empty() && first != 'a')) {  // No bus brings a deeper one.
        return -EINVAL;
    }
    std::string const contents = first == 'v'   ? item.items[0].type
                                 : first == 'a' ? item.type.substr(1)
                                                : item.type.substr(1, item.type.size() - 2);
    int const kind = first == '(' ? SD_BUS_TYPE_STRUCT : first == '{' ? SD_BUS_TYPE_DICT_ENTRY : first;
    int result = sd_bus_message_open_container(message, static_cast<char>(kind), contents.c_str());
    for (auto inner = item.items.begin(); result >= 0 && inner != item.items.end(); ++inner) {
        result = put(message, *inner, depth + 1);
    }
    return result < 0 ? result : sd_bus_message_close_container(message);
}

/// What is appended, as it comes; null when that is no message.
bus::Message messageOf(Signal const& signal, bool isCall, bus::MessageBody const& append) {
    constexpr char PATH[] = "/nrx/Television1/model/a";
    sd_bus_message* made = nullptr;
    isCall ? sd_bus_message_new_method_call(localBus(), &made, nullptr, PATH, signal.interface, signal.name)
           : sd_bus_message_new_signal(localBus(), &made, PATH, signal.interface, signal.name);
    bus::Message message(made);
    expect(message != nullptr, "a message is made");
    bool const isOne = append(made) >= 0 && sd_bus_message_seal(made, 1, 0) >= 0;
    return isOne && sd_bus_message_rewind(made, 1) >= 0 ? std::move(message) : bus::Message();
}

bus::Message messageOf(Signal const& signal, bool isCall, Item const& root) {
    return messageOf(signal, isCall, [&root](sd_bus_message* made) {
        auto const fails = [made](Item const& item) { return put(made, item) < 0; };
        return std::none_of(root.items.begin(), root.items.end(), fails) ? 0 : -1;
    });
}

// ---- Checks

using Values = std::tuple<int, unsigned int, long long, std::string, std::vector<int>, Strings, Rows,
                          std::vector<Argument>, std::vector<TableSelection>, std::vector<TableOrder>>;

/// What is of the type, and nothing else, is read, in the place of what an earlier read has left.
template <typename T>
void checkRead(sd_bus_message* message, Item const& item, T& kept) {
    std::string const type = itemOf(T{}).type;
    bool isRight = isGiven(item, type);
    expect((bus::read(message, kept) >= 0) == isRight, "a read succeeds when it is one");
    expect(!isRight || itemOf(kept) == item, "what was sent is read");
    sd_bus_message_rewind(message, 1);
    isRight = item.type == "v" && isGiven(item.items[0], type);
    expect((bus::readVariant(message, type.c_str(), kept) >= 0) == isRight, "so does one of a variant");
    expect(!isRight || itemOf(kept) == item.items[0], "what was sent in a variant is read");
    sd_bus_message_rewind(message, 1);
}

void checkReads(Bytes& bytes) {
    Values kept;
    while (bytes.remaining_bytes() > 0) {
        Item const root = contentFrom(bytes, bytes.PickValueInArray(TYPES));
        if (auto const message = messageOf(SIGNALS[0], false, root); message && !root.items.empty()) {
            std::apply([&](auto&... values) { (checkRead(message.get(), root.items[0], values), ...); }, kept);
        }
    }
}

/// What is appended is what the interfaces say, and read as it was.
template <typename T>
void checkAppend(Bytes& bytes, T& value) {
    fill(bytes, value);
    Item const item = itemOf(value);
    auto const message = messageOf(SIGNALS[0], false, [&](sd_bus_message* made) {
        int const result = bus::append(made, value);
        expect(result >= 0 || result == -EILSEQ, "only a text is refused");
        return result < 0 ? result : bus::appendVariant(made, item.type.c_str(), value);
    });
    expect((message != nullptr) == isSound(item), "what the bus carries, and nothing else, is sent");
    if (message) {
        T read{};
        T again{};
        expect(sd_bus_message_get_signature(message.get(), 1) == item.type + 'v', "it has the type");
        expect(bus::read(message.get(), read) >= 0 && itemOf(read) == item, "it is read");
        expect(bus::readVariant(message.get(), item.type.c_str(), again) >= 0 && itemOf(again) == item, "again");
    }
}

void checkAppends(Bytes& bytes) {
    Values all;
    std::apply([&](auto&... values) { (checkAppend(bytes, values), ...); }, all);
}

/// The status that a text says, or the one of no status.
int statusIn(std::string_view text) {
    bool const isNegative = text.starts_with('-');
    long long number = 0;
    for (char const digit : text.substr(isNegative ? 1 : 0)) {
        number = digit >= '0' && digit <= '9' && number < (1LL << 32) ? number * 10 + digit - '0' : 1LL << 40;
    }
    number = isNegative ? -number : number;
    bool const isStatus = number != 0 && number == static_cast<int>(number);
    return isStatus ? static_cast<int>(number) : static_cast<int>(television::STATUS_NOT_UNDERSTOOD);
}

/// A code that is mostly near one where what is carried ends, in so many bytes, whether they are the right ones or not.
std::string codeFrom(Bytes& bytes) {
    constexpr int EDGES[] = {0x80, 0x800, 0xD800, 0xE000, 0xFDD0, 0xFDF0, 0xFFFE, 0x10000, 0x1FFFE, 0x10FFFE, 0x110000};
    int const code = bytes.ConsumeBool() ? bytes.PickValueInArray(EDGES) + bytes.ConsumeIntegralInRange(-2, 2)
                                         : bytes.ConsumeIntegralInRange(0, 0x1FFFFF);
    int const more = bytes.ConsumeIntegralInRange(0, 3);
    int const lead = more == 0 ? code & 0x7F : (0xF0 << (3 - more) & 0xFF) | (code >> 6 * more & 0x3F >> more);
    std::string text(1, static_cast<char>(lead));
    for (int left = more - 1; left >= 0; --left) {
        text += static_cast<char>(0x80 | (code >> 6 * left & 0x3F));
    }
    return text;
}

void checkTexts(Bytes& bytes) {
    int const status = bytes.ConsumeIntegral<int>();
    sd_bus_error made{};
    expect(bus::setStatusError(&made, status) < 0 && bus::statusOfError(made) == statusIn(std::to_string(status)),
           "a status, back");
    sd_bus_error_free(&made);
    std::string const text = (bytes.ConsumeBool() ? codeFrom(bytes) : "") + bytes.ConsumeRandomLengthString();
    expect(bus::hasValidText(text) == isCarried(text), "both opinions on a text are one");
    std::string const path = bus::pathOf(text);
    expect(sd_bus_object_path_is_valid(path.c_str()) > 0 && bus::keyOf(path) == text, "a key has a path, and back");
    for (std::string const& any : {text, bus::MODEL_PATH + text, bus::MODEL_PATH + ('/' + text)}) {
        auto const key = bus::keyOf(any);
        expect(!key || bus::pathOf(*key) == any, "a key has one path");
    }
    sd_bus_error const told{bus::STATUS_ERROR, text.c_str(), 0};
    expect(bus::statusOfError(told) == statusIn(text.c_str()), "a status is a number");
    sd_bus_error const named{text.c_str(), "0", 0};
    expect(bus::statusOfError(named) != 0, "no error is a success");
}

/// What an observer hears, by the signals' names.
struct Recorder final : ObserverNumericInteger,
                        ObserverNumericInt64,
                        ObserverString,
                        ObserverVectorNumericInteger,
                        ObserverVectorString,
                        ObserverAction,
                        ObserverTable,
                        ObserverTableIterator {
    void add(char const* name, auto const&... values) { heard.push_back({name, 0, "", {itemOf(values)...}}); }
    void notifyNewValue(int value) override { add(CHANGE, value); }
    void notifyNewValue(long long value) override { add(CHANGE, value); }
    void notifyNewValue(std::string const& value) override { add(CHANGE, value); }
    void notifyIntegerVector(std::vector<int> const& values) override { add(CHANGE, values); }
    void notifyStringVector(Strings const& values) override { add(CHANGE, values); }
    void notifyResult(unsigned int id, std::vector<Argument> const& results) override { add("Result", id, results); }
    void notifyExecutionError(unsigned int id, int error) override { add("ExecutionError", id, error); }
    void notifyUpdate(int update) override { add("Updated", update); }
    void notifyCommit(int status) override { add("Committed", status); }
    void notifyTotalCount(int count) override { add("TotalCount", count); }
    void notifySeekToRow(int row) override { add("RowSought", row); }
    void notifySeekToContent(int row) override { add("ContentSought", row); }
    void notifyCursorPosition(int row) override { add("CursorMoved", row); }
    void notifyReadRow(Strings const& row) override { add("RowRead", row); }
    void notifyReadRowChunk(std::vector<Strings const*> const& rows) override {
        Rows copies;
        std::transform(rows.begin(), rows.end(), std::back_inserter(copies), [](auto* row) { return *row; });
        add("RowChunkRead", copies);
    }
    void notifyIteratorReady(int status) override { add("Ready", status); }

    std::vector<Item> heard;
};

/// Who hears: the object of a type, or an iterator, and what it hears.
struct Hearer {
    int type;
    char const* interface;  ///< Of its signals, or of its value.
    char const* value = nullptr;
};
constexpr int ITERATOR = 100;
constexpr Hearer HEARERS[] = {
    {1, Plain<int>::INTERFACE, Plain<int>::SIGNATURE},
    {2, Plain<std::string>::INTERFACE, Plain<std::string>::SIGNATURE},
    {3, Plain<std::vector<int>>::INTERFACE, Plain<std::vector<int>>::SIGNATURE},
    {4, Plain<Strings>::INTERFACE, Plain<Strings>::SIGNATURE},
    {8, Plain<long long>::INTERFACE, Plain<long long>::SIGNATURE},
    {5, bus::ACTION_INTERFACE},
    {6, bus::TABLE_INTERFACE},
    {7, ""},
    {-1, bus::TABLE_INTERFACE},
    {ITERATOR, bus::ITERATOR_INTERFACE},
};

/// The value that a change tells; null when it tells none.
Item const* changeIn(Item const& root, Hearer const& hearer) {
    auto const& items = root.items;
    if (items.size() < 2 || !isGiven(items[0], "s") || items[0].text != hearer.interface || items[1].type != "a{sv}") {
        return nullptr;
    }
    for (Item const& entry : items[1].items) {
        Item const& value = entry.items[1].items[0];
        if (isSound(entry.items[0]) && entry.items[0].text == "Value") {
            return isGiven(value, hearer.value) ? &value : nullptr;
        }
        if (!isSound(entry)) {
            return nullptr;
        }
    }
    return nullptr;
}

void anticipate(Hearer const& hearer, Signal const& signal, Item const& root, std::vector<Item>& heard) {
    if (hearer.value != nullptr) {
        Item const* const value = signal.name == std::string_view(CHANGE) ? changeIn(root, hearer) : nullptr;
        value != nullptr ? heard.push_back({CHANGE, 0, "", {*value}}) : void();
        return;
    }
    Item line{signal.name};
    for (auto rest = signal.types; !rest.empty(); rest.remove_prefix(firstOf(rest).size())) {
        std::size_t const at = line.items.size();
        if (at == root.items.size() || !isGiven(root.items[at], firstOf(rest))) {
            return;
        }
        line.items.push_back(root.items[at]);
    }
    signal.interface == std::string_view(hearer.interface) ? heard.push_back(line) : void();
}

/// The model, which finds no bus.
bus::RemoteModel& modelAlone() {
    static bus::RemoteModel& model = []() -> bus::RemoteModel& {
        ::setenv("NRX_BUS_ADDRESS", "unix:path=/nonexistent", 1);
        return bus::RemoteModel::get();
    }();
    return model;
}

/// Lets one object, or an iterator, hear some signals: its observer is told what they say, in their order.
void checkHearing(Bytes& bytes) {
    bus::RemoteModel& model = modelAlone();
    Hearer const& hearer = bytes.PickValueInArray(HEARERS);
    bool const endsEarly = bytes.ConsumeIntegralInRange(0, 7) == 7;
    Recorder recorder;
    std::vector<Item> expected;
    Observer deaf;
    bus::KeyEntry place("a");
    auto const object = bus::makeObject(model, place, static_cast<ObjectTypeSpec>(hearer.type));
    bus::RemoteIterator iterator(model, "/nrx/Television1/iterator/1/1", &recorder);
    auto* const observer = static_cast<ObserverTable*>(&recorder);
    object->connect(&deaf);
    object->connect(observer);
    std::promise<void> released;
    auto const gate = std::make_shared<television::Registration>(television::Registration{nullptr, nullptr});
    model.delivery.post({{gate}, [&released](auto const& /*recipient*/) { released.get_future().wait(); }});
    while (bytes.remaining_bytes() > 0) {
        Signal signal = bytes.PickValueInArray(SIGNALS);
        int const oddness = bytes.ConsumeIntegralInRange(0, 15);
        signal.name = oddness == 1 ? "Other" : signal.name;
        Item root = contentFrom(bytes, oddness == 2 ? bytes.PickValueInArray(SIGNALS).types : signal.types);
        if (hearer.value != nullptr && oddness > 3 && root.items.size() > 1 && root.items[1].type == "a{sv}") {
            root.items[0] = {"s", 0, hearer.interface};
            root.items[1].items.push_back(
                {"{sv}", 0, "", {{"s", 0, "Value"}, {"v", 0, "", {grow(bytes, hearer.value)}}}});
            mend(root);
        }
        bool const isCall = oddness == 3;
        if (auto const message = messageOf(signal, isCall, root)) {
            hearer.type == ITERATOR ? iterator.handleSignal(message.get()) : object->handleSignal(message.get());
            oddness == 1 || isCall ? void() : anticipate(hearer, signal, root, expected);
        }
    }
    auto const deliver = [&released, &model] {
        released.set_value();
        model.delivery.waitUntilDone();
    };
    endsEarly ? void() : deliver();
    expect(object->disconnect(observer) == 1 && object->disconnect(&deaf) == 1, "they were connected");
    model.delivery.cancel(*iterator.registration());
    endsEarly ? deliver() : void();
    expect(recorder.heard == (endsEarly ? std::vector<Item>() : expected), "what was sent is heard, in its order");
}

}  // namespace

int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    constexpr void (*CHECKS[])(Bytes&) = {checkHearing, checkReads, checkAppends, checkTexts};
    Bytes bytes(data, size);
    bytes.PickValueInArray(CHECKS)(bytes);
    return 0;
}
