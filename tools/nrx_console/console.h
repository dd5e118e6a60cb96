#pragma once

#include <string>
#include <vector>

#include "nrx_service/nrx_proxy/nrx_model_access/nrx_model_access.h"
#include "simulator/television.h"
#include "tools/nrx_console/model_file.h"
#include "tools/nrx_console/words.h"

namespace nrx_console {

/// Prints the lists that it receives.
class PrintingClient final : public orvane::NRXModelAccessClient {
public:
    void onNRXCommandReceived(std::vector<std::string> const& parameters) override;
    void onNRXEventReceived(std::vector<std::string> const& parameters) override;
};

/// A simulated television and an embedding process in front of it, driven by lines of commands.
class Console {
public:
    explicit Console(std::vector<ModelObject> const& model);
    Console(Console const&) = delete;
    Console& operator=(Console const&) = delete;
    ~Console();

    /// Carries out one line. Returns false for "quit"; throws `CommandError` or `ModelError`.
    bool execute(std::string const& line);

private:
    struct Command;
    static std::vector<Command> const& commands();

    void start(Words const& arguments);
    void info(Words const& arguments);
    void listen(Words const& arguments);
    void get(Words const& arguments);
    void set(Words const& arguments);
    void requestService(Words const& arguments);
    void table(Words const& arguments);
    void tvSet(Words const& arguments);
    void tvPublish(Words const& arguments);
    void tvWithdraw(Words const& arguments);
    void tvOn(Words const& arguments);
    void tvOff(Words const& arguments);
    void tvLog(Words const& arguments);
    void tvFailInvoke(Words const& arguments);
    void tvAnswerResult(Words const& arguments);
    void tvAnswerError(Words const& arguments);
    void wait(Words const& arguments);
    void help(Words const& arguments);
    void quit(Words const& arguments);

    void publish(ModelObject const& object);
    simulator::ActionAnswer answer(std::string const& key, std::vector<objbus::Argument> const& arguments);

    bool quit_ = false;
    decltype(simulator::ActionAnswer::outcome) outcome_;  ///< Of the actions invoked from now on.
    unsigned int lastActionId_ = 0;
    simulator::Television television_;
    PrintingClient client_;
    orvane::NRXModelAccess access_{&client_};
};

}  // namespace nrx_console
