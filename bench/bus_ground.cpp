#include "bus_ground.h"

#include <poll.h>
#include <sched.h>
#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <iterator>
#include <system_error>
#include <vector>

#include "bus/protocol/contract.h"
#include "bus/protocol/message.h"
#include "measure.h"
#include "nrx_service/nrx_proxy/nrx_model_access/model_keys.h"

namespace bench {

namespace {

using orvane::model_keys::COMMAND;
using Type = television::PlainKind<Strings>;

/// The television: has the command list, and tells a new list of it for each byte that comes from standard input,
/// which says whose place in `COUNTS` is its length.
class Television {
public:
    Television() {
        for (int const count : COUNTS) {
            lists_.push_back(bench::strings(count, LENGTH));
        }
        expect(bus::openBus(bus_, bus::addressFromEnvironment()));
        expect(sd_bus_add_filter(bus_.get(), nullptr, onMessage, nullptr));
        expect(sd_bus_request_name(bus_.get(), bus::SERVICE, 0));
    }

    [[noreturn]] void serve() {
        std::cout << "serving" << std::endl;
        while (true) {
            while (expect(sd_bus_process(bus_.get(), nullptr)) > 0) {
            }
            pollfd sources[] = {{STDIN_FILENO, POLLIN, 0},
                                {sd_bus_get_fd(bus_.get()), static_cast<short>(sd_bus_get_events(bus_.get())), 0}};
            ::poll(sources, std::size(sources), -1);
            if (sources[0].revents != 0) {
                tellNext();
            }
        }
    }

private:
    static int expect(int result) {
        return result >= 0 ? result : throw std::system_error(-result, std::generic_category(), "the bus");
    }

    void tellNext() {
        unsigned char which = 0;
        if (::read(STDIN_FILENO, &which, 1) != 1) {
            std::exit(EXIT_SUCCESS);  // Nobody asks any more.
        }
        sd_bus_message* made = nullptr;
        expect(sd_bus_message_new_signal(bus_.get(), &made, path_.c_str(), bus::PROPERTIES_INTERFACE,
                                         "PropertiesChanged"));
        bus::Message const message(made);
        expect(sd_bus_message_append(made, "s", Type::INTERFACE));
        expect(sd_bus_message_open_container(made, SD_BUS_TYPE_ARRAY, "{sv}"));
        expect(sd_bus_message_open_container(made, SD_BUS_TYPE_DICT_ENTRY, "sv"));
        expect(sd_bus_message_append(made, "s", "Value"));
        expect(bus::appendVariant(made, Type::SIGNATURE, lists_.at(which)));
        expect(sd_bus_message_close_container(made));
        expect(sd_bus_message_close_container(made));
        expect(sd_bus_message_append(made, "as", 0));
        expect(sd_bus_send(bus_.get(), made, nullptr));
    }

    /// Answers the one question that a client has: of which type the object is.
    static int onMessage(sd_bus_message* message, void* /*unused*/, sd_bus_error* /*error*/) {
        if (sd_bus_message_is_method_call(message, bus::PROPERTIES_INTERFACE, "Get") <= 0) {
            return 0;
        }
        return sd_bus_reply_method_return(message, "v", "i", static_cast<int>(Type::TYPE));
    }

    std::string const path_ = bus::pathOf(COMMAND);
    std::vector<Strings> lists_;
    bus::Bus bus_;
};

}  // namespace

void runOn(bool oneAlone) {
    cpu_set_t processors;
    CPU_ZERO(&processors);
    std::size_t const count = oneAlone ? 1 : CPU_SETSIZE;
    for (std::size_t processor = 0; processor < count; ++processor) {
        CPU_SET(processor, &processors);
    }
    ::sched_setaffinity(0, sizeof processors, &processors);  // Where this one is not to be had, on any.
}

void serveTelevision(char const* address) {
    ::setenv("NRX_BUS_ADDRESS", address, 1);
    Television().serve();
}

std::string nameOf(std::string const& way, std::size_t which) {
    return way + '/' + std::to_string(COUNTS.at(which)) + '/' + std::to_string(LENGTH);
}

}  // namespace bench
