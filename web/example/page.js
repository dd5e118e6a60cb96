// An example for page authors; uses every operation of `nrx`. The page shows the television's texts as text, never as
// HTML, and also writes the lists and results to the console.

(function () {
    "use strict";

    // The events that the page can send. An event is a word and one of the values in the word's row.
    const EVENTS = [
        ["volume", ["10", "21", "40"]],
        ["playing", ["channel 5", "channel 9", "a film"]],
        ["picture", ["calm", "sport", "cinema"]],
    ];

    const MAX_ROWS = 40;
    const MAX_WORDS = 12;
    const MAX_CHARACTERS = 160;
    const POLL_INTERVAL = 2000;  // Milliseconds between two checks for the television.

    // The meaning of each status, and advice.
    const STATUSES = {
        5: ["The television has not been there since this page was opened.",
            "Switch the television on. The page goes on by itself."],
        101: ["No television is there.",
              "Switch the television on, or wait until it is back. The page goes on by itself."],
        104: ["The television does not have this list.", "Add it to the television's data model."],
        106: ["The television took the list away.", "Wait until it publishes the list again."],
        110: ["The television does not serve the user of this browser.",
              "Allow this user at the television, or run the browser as another one."],
        121: ["The message bus cannot be reached.", "Start the bus. Check the bus address of the browser."],
        122: ["The television did not answer.", "Wait and look: it may have done what was asked, or may still do it."],
        123: ["The bus does not carry this text.", "Leave out zeros and halves of characters."],
        124: ["The answer of the television has another form than expected.", "Check the version of the television."],
        125: ["The browser has no memory, thread or file left.", "Close other pages, or start the browser again."],
        127: ["The list is larger than 1 MiB.", "Send less text."],
        128: ["Too many calls of this page wait for an answer.", "Wait until some are answered."],
        129: ["The page was left before the answer came.", "Open the page again."],
    };

    const byId = (id) => document.getElementById(id);

    function addElement(parent, name, className, text) {
        const element = document.createElement(name);
        element.className = className;
        element.textContent = text;
        parent.append(element);
        return element;
    }

    const timeOfDay = () => new Date().toTimeString().slice(0, 8);
    const shorten = (text) => (text.length > MAX_CHARACTERS ? `${text.slice(0, MAX_CHARACTERS)}\u2026` : text);
    /** Formats a list like a command line, with words in quotes if necessary. */
    const formatList = (texts) =>
        texts.map((text) => (/^[\w.:-]+$/.test(text) ? text : JSON.stringify(text))).join(" ");

    /** Returns the meaning of an error, and advice. */
    function explain(error) {
        if (error.name !== "NRXError") {
            return ["The page made a mistake.", error.message];
        }
        return STATUSES[error.status] ?? ["The television refuses.", "Its documents explain the status."];
    }

    function showList(type, texts) {
        const row = document.createElement("li");
        row.className = `row ${type}`;
        addElement(row, "time", "when", timeOfDay());
        addElement(row, "span", "type", type);
        const words = addElement(row, "span", "words", "");
        if (texts.length === 0) {
            addElement(words, "span", "none", "an empty list");
        }
        for (const text of texts.slice(0, MAX_WORDS)) {
            addElement(words, "span", "word", text === "" ? "\u201c\u201d" : shorten(text));
            words.append(" ");
        }
        if (texts.length > MAX_WORDS) {
            addElement(words, "span", "none", `and ${texts.length - MAX_WORDS} more`);
        }
        byId("lists-empty").hidden = true;
        byId("rows").prepend(row);
        if (byId("rows").childElementCount > MAX_ROWS) {
            byId("rows").lastElementChild.remove();
        }
        console.log(`heard ${type}: ${formatList(texts)}`);
    }

    /** Executes the command "key NAME". With this command the service acts as the remote control. */
    function pressKey([word, key]) {
        if (word === "key" && key === "enter") {
            focused().click();
        } else if (word === "key") {
            moveFocus(key);
        }
    }

    function focused() {
        const element = document.activeElement;
        return element?.localName === "button" ? element : document.querySelector("button");
    }

    /** A weighted distance between two rectangles; infinite if `to` is not in the given direction from `from`. */
    function distance(from, to, direction) {
        const gaps = { left: from.left - to.right, right: to.left - from.right,
                       up: from.top - to.bottom, down: to.top - from.bottom };
        const sideways = direction === "up" || direction === "down"
            ? Math.max(gaps.left, gaps.right, 0) : Math.max(gaps.up, gaps.down, 0);
        const centers = Math.hypot(from.left + from.right - to.left - to.right,
                                   from.top + from.bottom - to.top - to.bottom);
        return gaps[direction] >= 0 ? gaps[direction] + 4 * sideways + centers / 100 : Infinity;
    }

    /** Moves the focus to the nearest button in a direction, if there is one. */
    function moveFocus(direction) {
        const from = focused();
        let [nearest, least] = [from, Infinity];
        for (const button of document.querySelectorAll("button")) {
            const length = distance(from.getBoundingClientRect(), button.getBoundingClientRect(), direction);
            if (length < least) {
                [nearest, least] = [button, length];
            }
        }
        nearest.focus();
        nearest.scrollIntoView({ block: "nearest" });
    }

    document.addEventListener("keydown", (event) => {
        const direction = { ArrowLeft: "left", ArrowRight: "right", ArrowUp: "up", ArrowDown: "down" }[event.key];
        if (direction !== undefined && !event.altKey && !event.ctrlKey && !event.metaKey) {
            event.preventDefault();
            moveFocus(direction);
        }
    });

    /** Shows the progress or the result of a request. The state "good" or "bad" selects the colour. */
    function showResult(id, state, text) {
        byId(id).dataset.state = state;
        byId(id).textContent = text;
    }

    async function sendEvent(texts) {
        showResult("compose-result", "", `Sending ${formatList(texts)}`);
        try {
            await nrx.set("event", texts);
            showResult("compose-result", "good", `${timeOfDay()}  Sent: ${formatList(texts)}`);
            console.log(`sent event: ${formatList(texts)}`);
        } catch (error) {
            showResult("compose-result", "bad", `Not sent. ${explain(error).join(" ")}`);
            console.log(`not sent: ${explain(error)[0]}`);
        }
    }

    async function startService() {
        showResult("start-result", "", "Asking the television");
        try {
            await nrx.get("command");  // Rejects if no television is there; `requestStartService` does not.
            await nrx.requestStartService();
            const text = `${timeOfDay()}  The television was asked. The service reports with its first list.`;
            showResult("start-result", "good", text);
            console.log("asked for the service");
        } catch (error) {
            showResult("start-result", "bad", `Not asked. ${explain(error).join(" ")}`);
            console.log(`not asked: ${explain(error)[0]}`);
        }
    }

    async function showDevice() {
        const facts = await nrx.device();
        for (const element of document.querySelectorAll("[data-fact]")) {
            const fact = facts[element.dataset.fact];
            element.textContent = shorten(fact ?? "unknown");
            element.classList.toggle("unknown", fact === null);
        }
        console.log(`device: ${formatList([facts.modelName ?? "unknown", facts.softwareVersion ?? "unknown"])}`);
    }

    function showState(state, text, problem = null) {
        if (byId("state").textContent !== text) {
            byId("state").dataset.state = state;
            byId("state").textContent = text;
            console.log(`${text}${problem === null ? "" : `: ${problem[0]}`}`);
        }
        byId("problem").hidden = problem === null;
        [byId("problem-meaning").textContent, byId("problem-advice").textContent] = problem ?? ["", ""];
    }

    async function watchTelevision() {
        const connected = window.isRecorded ? ["recorded", "no television: recorded session"]
            : ["there", "television connected"];
        let isConnected = false;
        for (;;) {
            try {
                await nrx.get("command");
                if (!isConnected) {
                    await showDevice();
                    isConnected = true;
                }
                showState(...connected);
            } catch (error) {
                isConnected = false;
                const [meaning, advice] = explain(error);
                showState("away", "television away", [`${meaning} (Status ${error.status})`, advice]);
            }
            await new Promise((resolve) => setTimeout(resolve, POLL_INTERVAL));
        }
    }

    function addChoices() {
        for (const [word, values] of EVENTS) {
            addElement(byId("choices"), "span", "choice-word", word);
            for (const value of values) {
                const button = addElement(byId("choices"), "button", "choice", value);
                button.type = "button";
                button.setAttribute("aria-label", `Send ${word} ${value}`);
                const hint = `Enter sends ${formatList([word, value])}`;
                button.addEventListener("click", () => sendEvent([word, value]));
                button.addEventListener("focus", () => showResult("compose-result", "", hint));
                button.addEventListener("blur", () => {
                    if (byId("compose-result").textContent === hint) {
                        showResult("compose-result", "", "");
                    }
                });
            }
        }
        byId("start").addEventListener("click", startService);
        focused().focus({ preventScroll: true });
    }

    addChoices();
    if (typeof nrx === "undefined") {
        showState("away", "television away", ["The page has no object nrx.", "Put nrx.js one folder above the page."]);
        return;
    }
    nrx.oncommand = ({ detail }) => {
        showList("command", detail);
        pressKey(detail);
    };
    nrx.onevent = ({ detail }) => showList("event", detail);
    watchTelevision();
})();
