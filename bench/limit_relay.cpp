#include "limit_relay.h"

#include <atomic>

#include "nrx_service/nrx_proxy/diagnostics/debug_log.h"

namespace bench {

namespace {

namespace diagnostics = orvane::diagnostics;

bool admitted(diagnostics::LogLevel level) {
    DebugLevelRecord record = diagnostics::levelRecord(level);
    return debugCheckLevel(&record) != 0;
}

/// Calls the platform as a traced operation does.
class Trace {
public:
    Trace() : file_(sourceBaseName(__FILE__)) { write(); }
    Trace(Trace const&) = delete;
    Trace& operator=(Trace const&) = delete;
    ~Trace() { write(); }

private:
    void write() const {
        if (admitted(diagnostics::LOG_DEBUG)) {
            debugOutput("%s\n", sourceBaseName(file_));
        }
    }

    char const* file_;
};

/// The fields of a `ValueObject`.
struct Fields {
    Fields() = default;
    explicit Fields(std::string const& text) : typeTag(VALUE_STRING), stringValue(text) {}

    operator std::string const&() const { return stringValue; }

    ValueObjectType typeTag = VALUE_UNDEFINED;
    ValueObject::Scalar scalar;
    std::string stringValue;
    std::vector<Fields> elements;
};

/// Hides the class of an object from the compiler, which otherwise replaces virtual calls by direct calls.
template <typename T>
T* hidden(T* object) {
    benchmark::DoNotOptimize(object);
    return object;
}

struct Interface {
    Interface() = default;
    Interface(Interface const&) = delete;
    Interface& operator=(Interface const&) = delete;
    virtual ~Interface() = default;
};

struct Value : Interface {
    virtual ValueObjectType type() const = 0;
    virtual Strings list() const = 0;
};

struct ListValue final : Value {
    explicit ListValue(Strings const& list) {
        fields.typeTag = VALUE_VECTOR;
        fields.elements = std::vector<Fields>(list.begin(), list.end());
    }
    ValueObjectType type() const override { return fields.typeTag; }
    Strings list() const override { return {fields.elements.begin(), fields.elements.end()}; }

    Fields fields;
};

struct Facade : Interface {
    virtual void onCommand(Value const& value) = 0;
};

struct ListeningFacade final : Facade {
    void onCommand(Value const& value) override {
        if (value.type() != VALUE_VECTOR || !listening) {
            return;
        }
        Strings const list = value.list();
        for (std::string const& text : list) {
            if (admitted(diagnostics::LOG_DEBUG)) {
                debugOutput("%s %s\n", sourceBaseName(__FILE__), text.c_str());
            }
        }
        if (orvane::NRXModelAccessClient* const receiver = client) {
            receiver->onNRXCommandReceived(list);
        }
    }

    std::atomic<orvane::NRXModelAccessClient*> client = &bench::relayClient();
    std::atomic<bool> listening = true;
};

struct Handler : Interface {
    virtual void handle(Value const& value) = 0;
};

struct BoundHandler final : Handler {
    void handle(Value const& value) override { (facade->*member)(value); }

    ListeningFacade target;
    Facade* facade = hidden<Facade>(&target);
    void (Facade::*member)(Value const&) = &Facade::onCommand;
};

}  // namespace

struct LimitRelay::FakeAccessObject : Interface {
    virtual void notify(Strings const& list) {
        Trace const trace;
        ListValue const value(list);
        hidden(this)->onNewValue(*hidden<Value const>(&value));
    }
    virtual void onNewValue(Value const& value) {
        Trace const trace;
        handler->handle(value);
    }

    std::unique_ptr<Handler> handler = std::make_unique<BoundHandler>();
};

LimitRelay::LimitRelay() : fakeAccessObject_(std::make_shared<FakeAccessObject>()) {}

void LimitRelay::operator()(Strings const& list) { hidden(fakeAccessObject_.get())->notify(list); }

}  // namespace bench
