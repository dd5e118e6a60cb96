#include "bus_fixture.h"

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
#include "nrx_service/nrx_proxy/nrx_model_access/model_keys.h"

namespace bench {

namespace {

using orvane::model_keys::COMMAND;
using Type = television::PlainKindTraits<Strings>;

class Television {
public:
    explicit Television(char const* address) {
        for (int const count : LIST_LENGTHS) {
            lists_.push_back(makeStrings(count, STRING_LENGTH));
        }
        expect(bus::startBusConnection(bus_, address));
        expect(sd_bus_add_filter(bus_.get(), nullptr, handleMessage, nullptr));
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
                publishNext();
            }
        }
    }

private:
    static int expect(int result) {
        return result >= 0 ? result : throw std::system_error(-result, std::generic_category(), "the bus");
    }

    void publishNext() {
        unsigned char lengthIndex = 0;
        if (::read(STDIN_FILENO, &lengthIndex, 1) != 1) {
            std::exit(EXIT_SUCCESS);
        }
        sd_bus_message* made = nullptr;
        expect(sd_bus_message_new_signal(bus_.get(), &made, path_.c_str(), bus::PROPERTIES_INTERFACE,
                                         "PropertiesChanged"));
        bus::Message const message(made);
        expect(sd_bus_message_append(made, "s", Type::INTERFACE));
        expect(bus::appendContainer(made, SD_BUS_TYPE_ARRAY, "{sv}", [&] {
            return bus::appendContainer(made, SD_BUS_TYPE_DICT_ENTRY, "sv", [&] {
                NRX_TRY(sd_bus_message_append(made, "s", "Value"));
                return bus::appendVariant(made, Type::SIGNATURE, lists_.at(lengthIndex));
            });
        }));
        expect(sd_bus_message_append(made, "as", 0));
        expect(sd_bus_send(bus_.get(), made, nullptr));
    }

    /// Replies to the only call of the clients, which reads the object's type.
    static int handleMessage(sd_bus_message* message, void* /*unused*/, sd_bus_error* /*error*/) {
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

void setRestrictedToOneProcessor(bool isRestricted) {
    cpu_set_t processors;
    CPU_ZERO(&processors);
    for (std::size_t processor = 0; processor < (isRestricted ? 1U : CPU_SETSIZE); ++processor) {
        CPU_SET(processor, &processors);
    }
    // If the process may not use processor 0, this call fails and the process stays unrestricted.
    ::sched_setaffinity(0, sizeof processors, &processors);
}

void serveTelevision(char const* address) { Television(address).serve(); }

std::string benchmarkName(std::string const& baseName, std::size_t lengthIndex) {
    return baseName + '/' + std::to_string(LIST_LENGTHS.at(lengthIndex)) + '/' + std::to_string(STRING_LENGTH);
}

}  // namespace bench
