// Gives a page without a television the object `nrx`, whose lists and answers are recorded. `installNrx` is in nrx.js:
// the object is the same one, and only its native part is replaced here.

(function () {
    "use strict";

    if (typeof nrx !== "undefined" || typeof installNrx === "undefined") {
        return;
    }
    window.isRecorded = true;

    const DEVICE = { softwareVersion: "7.2.114", modelName: "OL-55-D", featureCode: "F3A9", deviceId: "TV-0042-1138" };

    // What comes, and after how many milliseconds. The session is played in a loop.
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

    const ANSWER_AFTER = 40;  // Milliseconds.
    const lists = { command: [], event: [] };
    const listening = new Set();
    let receive = null;  // What the page hears with, from `attach` to `detach`.
    let position = 0;
    let timer = 0;

    function publish(type, texts) {
        lists[type] = texts;
        if (receive !== null && listening.has(type) && receive.list(type, JSON.stringify(texts))) {
            setTimeout(receive.updateLists);
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
        set(type, texts) {
            setTimeout(publish, 0, type, texts);
        },
        device: () => DEVICE,
        requestStartService() {
            setTimeout(publish, 1000, "command", ["service", "started"]);
        },
    };

    installNrx({
        attach(list, updateLists, answer) {
            receive = { list, updateLists, answer };
            playNext();
            return 0;
        },
        detach() {
            clearTimeout(timer);
            receive = null;
            listening.clear();
        },
        listen(type, isOn) {
            if (isOn) {
                listening.add(type);
            } else {
                listening.delete(type);
            }
        },
        call(operation, id, json) {
            setTimeout(() => {
                const result = operations[operation](...JSON.parse(json));
                receive?.answer(id, 0, result === undefined ? "" : JSON.stringify(result));
            }, ANSWER_AFTER);
            return 0;
        },
    });
})();
