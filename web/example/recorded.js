// Defines `nrx` in a page without a television. `installNrx` of nrx.js makes the object, as in the web engine. This
// script replaces only the object `native`. The replacement plays recorded lists and sends recorded answers.

(function () {
    "use strict";

    if (typeof nrx !== "undefined" || typeof installNrx === "undefined") {
        return;
    }
    window.isRecorded = true;

    const DEVICE = { softwareVersion: "7.2.114", modelName: "OL-55-D", featureCode: "F3A9", deviceId: "TV-0042-1138" };

    // Each row: milliseconds to wait, type and texts of the list. The session is played in a loop.
    const SESSION = [
        [700, "command", ["play", "channel 5"]],
        [900, "event", ["playing", "channel 5"]],
        [2600, "command", ["volume", "21"]],
        [500, "event", ["volume", "21"]],
        [3800, "command", ["message", "The film begins in 5 minutes"]],
        [3000, "command", ["pause"]],
        [600, "event", ["paused", "00:12:41"]],
        [4200, "command", ["play"]],
        [500, "event", ["playing", "channel 5"]],
        [5000, "command", []],
    ];

    const ANSWER_DELAY = 40;  // Milliseconds.
    const lists = { command: [], event: [] };
    let listening = {};  // By type: whether nrx.js listens.
    let receiver = null;  // The functions of nrx.js after `attach`. Null after `detach`.
    let position = 0;
    let timer = 0;

    function publish(type, texts) {
        lists[type] = texts;
        if (receiver !== null && listening[type] && receiver.receiveList(type, JSON.stringify(texts))) {
            setTimeout(receiver.updateListening);
        }
    }

    function playNext() {
        const [milliseconds, type, texts] = SESSION[position];
        timer = setTimeout(() => {
            position = (position + 1) % SESSION.length;
            publish(type, texts);
            playNext();
        }, milliseconds);
    }

    const operations = {
        get: (type) => lists[type],
        set(type, texts) { setTimeout(publish, 0, type, texts); },
        device: () => DEVICE,
        requestStartService() { setTimeout(publish, 1000, "command", ["service", "started"]); },
    };

    installNrx({
        attach(functions) {
            receiver = functions;
            playNext();
            return 0;
        },
        detach() {
            clearTimeout(timer);
            receiver = null;
            listening = {};
        },
        listen(type, isOn) { listening[type] = isOn; },
        call(operation, id, json) {
            setTimeout(() => {
                const result = operations[operation](...JSON.parse(json));
                receiver?.receiveAnswer(id, 0, result === undefined ? "" : JSON.stringify(result));
            }, ANSWER_DELAY);
            return 0;
        },
    });
})();
