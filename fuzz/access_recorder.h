#pragma once

#include "fuzz/harness.h"
#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/action_access.h"
#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/iterator_access.h"
#include "nrx_service/nrx_proxy/nrx_model_access/model_keys.h"
#include "nrx_service/nrx_proxy/nrx_model_access/nrx_model_access_client.h"

namespace fuzz {

using namespace orvane::model_keys;
using namespace orvane::system::support;

// Convert a notification to a line of texts: one text for each number, text or list element.
inline void appendTo(Strings& line, std::string const& text) { line.push_back(text); }
inline void appendTo(Strings& line, long long number) { line.push_back(std::to_string(number)); }
template <typename T>
void appendTo(Strings& line, std::vector<T> const& list) {
    std::for_each(list.begin(), list.end(), [&line](T const& element) { appendTo(line, element); });
}
template <typename... Parts>
Strings lineOf(Parts const&... parts) {
    Strings line;
    (appendTo(line, parts), ...);
    return line;
}

/// The notifications that a receiver has received, and the notifications that the reference model expects.
struct Recorder {
    template <typename... Parts>
    void record(Parts const&... parts) {
        received.push_back(lineOf(parts...));
        if (auto const react = std::exchange(onNextNotification, nullptr)) {
            react();  // Last, because `react` may destroy the receiver.
        }
    }
    void check() {
        expect(received == expected, "every notification is received, and nothing else");
        *this = {};
    }

    std::vector<Strings> received;
    std::vector<Strings> expected;
    std::function<void()> onNextNotification;  ///< Called inside the next notification.
};

struct RecordingClient final : orvane::NRXModelAccessClient, Recorder {
    void onNRXCommandReceived(Strings const& list) override { record(COMMAND, list); }
    void onNRXEventReceived(Strings const& list) override { record(EVENT, list); }
};

/// The handler of an access object. Only the access object owns the handler.
struct RecordingHandler final : ValueHandler, ActionHandler, IteratorHandler {
    explicit RecordingHandler(Recorder& receiver) : recorder(receiver) {}
    void handleNewValue(IValueObject const& value) override {
        Strings const texts = value;
        recorder.record(value.type(), texts);
    }
    void handleResult(unsigned int id, ValueObject const& results) override {
        Strings const texts = results;
        recorder.record(id, results.type(), texts);
    }
    void handleExecutionError(unsigned int id, int error) override { recorder.record("error", id, error); }
    void handleCommit(int status) override { recorder.record("commit", status); }
    void handleTotalCount(int count) override { recorder.record("count", count); }
    void handleSeekToRow(int row) override { recorder.record("row", row); }
    void handleSeekToContent(int row) override { recorder.record("content", row); }
    void handleCursorPosition(int row) override { recorder.record("cursor", row); }
    void handleReadRow(Strings const& row) override { recorder.record(row); }
    void handleReadRowChunk(std::vector<Strings const*> const& rows) override {
        recorder.record(rows.empty() ? Strings{"none"} : *rows.back());
    }
    void handleIteratorReady(int status) override { recorder.record("ready", status); }
    void handleUpdate(int update) override { recorder.record("update", update); }

    Recorder& recorder;
};

}  // namespace fuzz
