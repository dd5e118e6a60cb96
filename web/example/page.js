// An example for authors of pages: it shows all that `nrx` can do. What comes from the television is put into the page
// as text, never as HTML. What the page sees is also written to the console.

(function () {
    "use strict";

    // The words of the events that can be sent, each with its values.
    const EVENTS = [
        ["volume", ["10", "21", "40"]],
        ["playing", ["channel 5", "channel 9", "a film"]],
        ["picture", ["calm", "sport", "cinema"]],
    ];

    const MOST_ROWS = 40;
    const MOST_WORDS = 12;
    const MOST_CHARACTERS = 160;
    const LOOK_AFTER = 2000;  // Milliseconds between two looks whether the television is there.

    const NO_LIBRARY = ["The page has no object nrx.", "Put nrx.js one folder above the page."];

    // What a status means, and what to do.
    const STATUSES = {
        5: ["The television has not been there since this page was opened.",
            "Switch the television on. The page goes on by itself."],
        101: ["No television is there.", "Switch the television on, or wait until it is back. The page goes on by itself."],
        104: ["The television does not have this list.", "Add it to the television's data model."],
        106: ["The television took the list away.", "Wait until it publishes the list again."],
        110: ["The television does not serve the user of this browser.",
              "Allow this user at the television, or run the browser as another one."],
        121: ["The message bus cannot be reached.", "Start the bus. Check the bus address of the browser."],
        122: ["The television did not answer in time.", "Wait and look: it may do what was asked all the same."],
        123: ["The bus does not carry this text.", "Leave out zeros and halves of characters."],
        124: ["The answer of the television has another form than expected.", "Check the version of the television."],
        125: ["The browser has no memory, thread or file left.", "Close other pages, or start the browser again."],
        126: ["The television went before it had answered.", "Wait until it is back, and try again."],
        127: ["The list is larger than 1 MiB.", "Send less text."],
        128: ["Too many calls of this page wait for an answer.", "Wait until some are answered."],
        129: ["The page was left before the answer came.", "Open the page again."],
    };

    const part = (id) => document.getElementById(id);

    function addElement(parent, name, className, text) {
        const element = document.createElement(name);
        element.className = className;
        element.textContent = text;
        parent.append(element);
        return element;
    }

    function timeOfDay() {
        return new Date().toTimeString().slice(0, 8);
    }

    function shorten(text) {
        return text.length > MOST_CHARACTERS ? `${text.slice(0, MOST_CHARACTERS)}\u2026` : text;
    }

    /** As it is written at a command line: words with blanks are in quotes. */
    function lineOf(texts) {
        return texts.map((text) => (/^[\w.:-]+$/.test(text) ? text : JSON.stringify(text))).join(" ");
    }

    /** A meaning and an advice. */
    function explain(error) {
        if (error.name !== "NRXError") {
            return ["The page made a mistake.", error.message];
        }
        return STATUSES[error.status] ?? ["The television refuses.", "Its documents explain the status."];
    }

    // Lists

    function showList(type, texts) {
        const row = document.createElement("li");
        row.className = `row ${type}`;
        addElement(row, "time", "when", timeOfDay());
        addElement(row, "span", "type", type);
        const words = addElement(row, "span", "words", "");
        if (texts.length === 0) {
            addElement(words, "span", "none", "an empty list");
        }
        for (const text of texts.slice(0, MOST_WORDS)) {
            addElement(words, "span", "word", text === "" ? "\u201c\u201d" : shorten(text));
            words.append(" ");
        }
        if (texts.length > MOST_WORDS) {
            addElement(words, "span", "none", `and ${texts.length - MOST_WORDS} more`);
        }
        part("lists-empty").hidden = true;
        part("rows").prepend(row);
        while (part("rows").childElementCount > MOST_ROWS) {
            part("rows").lastElementChild.remove();
        }
        console.log(`heard ${type}: ${lineOf(texts)}`);
    }

    /** The service may press the keys of the remote control: the command is "key" and the key's name. */
    function pressKey([word, key]) {
        if (word !== "key") {
            return;
        }
        if (key === "enter") {
            focused().click();
        } else {
            moveFocus(key);
        }
    }

    // Focus: an arrow key moves to the nearest button in its direction.

    const buttons = () => [...document.querySelectorAll("button")];

    function focused() {
        const element = document.activeElement;
        return buttons().includes(element) ? element : part("choices").querySelector("button");
    }

    /** How far `to` is from `from` in a direction; infinite if it is not there. */
    function distance(from, to, direction) {
        const aside = direction === "up" || direction === "down"
            ? Math.max(from.left - to.right, to.left - from.right, 0)
            : Math.max(from.top - to.bottom, to.top - from.bottom, 0);
        const between = Math.hypot(from.left + from.right - to.left - to.right, from.top + from.bottom - to.top - to.bottom);
        const ahead = {
            left: from.left - to.right, right: to.left - from.right, up: from.top - to.bottom, down: to.top - from.bottom,
        }[direction] ?? -1;
        return ahead < 0 ? Infinity : ahead + 4 * aside + between / 100;
    }

    function moveFocus(direction) {
        const from = focused();
        const reached = buttons().filter((button) => button !== from).map((button) => [
            distance(from.getBoundingClientRect(), button.getBoundingClientRect(), direction), button,
        ]).filter(([far]) => far < Infinity).sort(([far], [farther]) => far - farther);
        const [, to] = reached[0] ?? [0, from];
        to.focus();
        to.scrollIntoView({ block: "nearest" });
    }

    document.addEventListener("keydown", (event) => {
        const direction = { ArrowLeft: "left", ArrowRight: "right", ArrowUp: "up", ArrowDown: "down" }[event.key];
        if (direction !== undefined && !event.altKey && !event.ctrlKey && !event.metaKey) {
            event.preventDefault();
            moveFocus(direction);
        }
    });

    // What the page asks of the television

    /** Shows what becomes of a request, with the state "good" or "bad" for its colour. */
    function showResult(element, state, text) {
        element.dataset.state = state;
        element.textContent = text;
    }

    async function sendEvent(texts) {
        const result = part("compose-result");
        showResult(result, "", `Sending ${lineOf(texts)}`);
        try {
            await nrx.set("event", texts);
            showResult(result, "good", `${timeOfDay()}  Sent: ${lineOf(texts)}`);
            console.log(`sent event: ${lineOf(texts)}`);
        } catch (error) {
            showResult(result, "bad", `Not sent. ${explain(error).join(" ")}`);
            console.log(`not sent: ${explain(error)[0]}`);
        }
    }

    async function startService() {
        const result = part("start-result");
        showResult(result, "", "Asking the television");
        try {
            await nrx.get("command");  // The request itself does not say that nobody is there.
            await nrx.requestStartService();
            showResult(result, "good", `${timeOfDay()}  The television was asked. The service reports with its first list.`);
            console.log("asked for the service");
        } catch (error) {
            showResult(result, "bad", `Not asked. ${explain(error).join(" ")}`);
            console.log(`not asked: ${explain(error)[0]}`);
        }
    }

    async function showDevice() {
        const facts = await nrx.device();
        for (const [id, fact] of [["model-name", facts.modelName], ["software-version", facts.softwareVersion],
                                  ["feature-code", facts.featureCode], ["device-id", facts.deviceId]]) {
            part(id).textContent = shorten(fact ?? "unknown");
            part(id).classList.toggle("unknown", fact === null);
        }
        console.log(`device: ${lineOf([facts.modelName ?? "unknown", facts.softwareVersion ?? "unknown"])}`);
    }

    // The state of the television

    function showState(state, text, problem = null) {
        if (part("state").textContent !== text) {
            part("state").dataset.state = state;
            part("state").textContent = text;
            console.log(`${text}${problem === null ? "" : `: ${problem[0]}`}`);
        }
        part("problem").hidden = problem === null;
        [part("problem-meaning").textContent, part("problem-advice").textContent] = problem ?? ["", ""];
    }

    async function watchTelevision() {
        let isThere = false;
        for (;;) {
            try {
                await nrx.get("command");
                if (!isThere) {
                    await showDevice();
                    isThere = true;
                }
                if (window.isRecorded) {
                    showState("recorded", "no television: recorded session");
                } else {
                    showState("there", "television connected");
                }
            } catch (error) {
                isThere = false;
                const [meaning, advice] = explain(error);
                showState("away", "television away", [`${meaning} (Status ${error.status})`, advice]);
            }
            await new Promise((resolve) => setTimeout(resolve, LOOK_AFTER));
        }
    }

    function addChoices() {
        for (const [word, values] of EVENTS) {
            addElement(part("choices"), "span", "choice-word", word);
            for (const value of values) {
                const button = addElement(part("choices"), "button", "choice", value);
                button.type = "button";
                button.setAttribute("aria-label", `Send ${word} ${value}`);
                button.addEventListener("click", () => sendEvent([word, value]));
                button.addEventListener("focus", () => {
                    showResult(part("compose-result"), "", `Enter sends ${lineOf([word, value])}`);
                });
                button.addEventListener("blur", () => {
                    if (part("compose-result").textContent.startsWith("Enter sends")) {
                        showResult(part("compose-result"), "", "");
                    }
                });
            }
        }
        part("start").addEventListener("click", startService);
        focused().focus({ preventScroll: true });
    }

    addChoices();
    if (typeof nrx === "undefined") {
        showState("away", "television away", NO_LIBRARY);
        return;
    }
    nrx.oncommand = ({ detail }) => {
        showList("command", detail);
        pressKey(detail);
    };
    nrx.onevent = ({ detail }) => showList("event", detail);
    watchTelevision();
})();
