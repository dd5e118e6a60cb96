/**
 * Defines the object `nrx` in this document, before the document's first script.
 *
 * `native` connects the document with the television:
 *   attach(receiver)           calls the functions of `receiver` until `detach`; returns a status;
 *   detach()                   releases `receiver`, stops both lists, drops waiting lists and calls;
 *   listen(type, isOn)         starts or stops the lists of one type;
 *   call(operation, id, json)  returns 0 and sends an answer with this `id` later, or returns another status.
 * `receiver` has three functions:
 *   receiveList(type, json)          takes a list's JSON text; returns whether to call `updateListening`;
 *   updateListening()                stops lists without listeners; to be called after the page's microtasks;
 *   receiveAnswer(id, status, json)  takes the JSON text of a call's value, or an empty text.
 */
function installNrx(native) {
    "use strict";

    const TYPES = ["command", "event"];
    const STATUS_PAGE_HIDDEN = 129;

    // Keeps the browser's functions, because a script of the page may replace them later.
    const { CustomEvent } = globalThis;
    const { parse, stringify } = JSON;
    const { apply } = Reflect;
    const { addEventListener, removeEventListener, dispatchEvent } = EventTarget.prototype;

    const TEXTS = {
        127: "The list is larger than 1 MiB",
        128: "1000 calls wait already",
        129: "The page was left",
    };

    let isConstructing = false;
    let isShown = true;
    let isAttached = false;
    let isStopDeferred = false;  // Whether `native` listens to types without listeners until `updateListening`.
    let lastId = 0;
    const pendingCalls = new Map();  // By identifier.
    const listeners = { command: [], event: [] };       // By type: entries with the arguments of `addEventListener`.
    const isActive = { command: false, event: false };  // Whether `native` listens to the type.

    class NRXError extends Error {
        constructor(status) {
            super(TEXTS[status] ?? `The television's status is ${status}`);
            this.status = status;
        }
    }
    Object.defineProperty(NRXError.prototype, "name", { value: "NRXError", writable: true, configurable: true });

    /** Attaches on first use, so that a document that does not use `nrx` costs nothing. Returns a status. */
    function attach() {
        if (!isShown) {
            return STATUS_PAGE_HIDDEN;
        }
        const status = isAttached ? 0 : native.attach({ receiveList, updateListening, receiveAnswer });
        isAttached = status === 0;
        return status;
    }

    function detach() {
        isAttached = false;
        isStopDeferred = false;
        isActive.command = false;
        isActive.event = false;
        native.detach();
    }

    function watchPage() {
        apply(addEventListener, globalThis, ["pagehide", onPageHide, true]);
        apply(addEventListener, globalThis, ["pageshow", onPageShow, true]);
    }

    function onPageHide(event) {
        if (!event.isTrusted) {
            return;
        }
        isShown = false;
        detach();
        for (const { reject } of pendingCalls.values()) {
            reject(new NRXError(STATUS_PAGE_HIDDEN));
        }
        pendingCalls.clear();
    }

    function onPageShow(event) {
        if (event.isTrusted && event.persisted) {
            isShown = true;
            updateListening();
        }
    }

    function updateListeningTo(type) {
        const isOn = listeners[type].length > 0;
        if (isOn === isActive[type] || (!isOn && isStopDeferred) || attach() !== 0) {
            return;
        }
        isActive[type] = isOn;
        native.listen(type, isOn);
    }

    function updateListening() {
        isStopDeferred = false;
        TYPES.forEach(updateListeningTo);
    }

    function receiveList(type, json) {
        // An "abort" listener of the page may have stopped the "abort" event before `onAbort` was called.
        for (const entry of listeners[type].filter(({ signal }) => signal?.aborted)) {
            removeEntry(entry);
        }
        // A page that awaits one list after another has no listener between two lists, but must miss no list.
        isStopDeferred = true;
        const detail = Object.freeze(parse(json));
        apply(dispatchEvent, nrx, [new CustomEvent(type, { __proto__: null, detail })]);
        isStopDeferred = TYPES.some((each) => isActive[each] && listeners[each].length === 0);
        return isStopDeferred;
    }

    function receiveAnswer(id, status, json) {
        const call = pendingCalls.get(id);
        if (call === undefined) {
            return;  // `onPageHide` has rejected the call.
        }
        pendingCalls.delete(id);
        if (status === 0) {
            call.resolve(json === "" ? undefined : parse(json));
        } else {
            call.reject(new NRXError(status));
        }
    }

    function call(operation, ...values) {
        return new Promise((resolve, reject) => {
            const id = ++lastId;
            // Without a prototype, the array inherits no `toJSON` of the page.
            const json = stringify(Object.setPrototypeOf(values, null));
            const status = attach() || native.call(operation, id, json);
            if (status === 0) {
                pendingCalls.set(id, { resolve, reject });
            } else {
                reject(new NRXError(status));
            }
        });
    }

    function findEntry({ type, callback, capture }) {
        return listeners[type].find((entry) => entry.callback === callback && entry.capture === capture);
    }

    function addEntry(entry) {
        if (findEntry(entry) !== undefined) {
            return;
        }
        const { type, callback, capture, once, passive, signal } = entry;
        // The browser calls this wrapper. The wrapper also removes the entry of a `once` listener.
        entry.wrapper = function (event) {
            if (once) {
                removeEntry(entry);
            }
            if (typeof callback === "function") {
                apply(callback, this, [event]);
            } else {
                callback.handleEvent(event);
            }
        };
        apply(addEventListener, nrx, [type, entry.wrapper, { __proto__: null, capture, once, passive, signal }]);
        if (signal?.aborted) {
            return;
        }
        if (signal !== undefined) {
            entry.onAbort = () => removeEntry(entry);
            apply(addEventListener, signal, ["abort", entry.onAbort]);
        }
        listeners[type].push(entry);
        updateListeningTo(type);
    }

    function removeEntry(entry) {
        const entries = listeners[entry.type];
        const index = entries.indexOf(entry);
        if (index < 0) {
            return;
        }
        entries.splice(index, 1);
        apply(removeEventListener, nrx, [entry.type, entry.wrapper, entry.capture]);
        if (entry.signal !== undefined) {
            apply(removeEventListener, entry.signal, ["abort", entry.onAbort]);
        }
        updateListeningTo(entry.type);
    }

    function readOptions(options) {
        // A browser reads the members in this order, too.
        const { capture, once, passive, signal } = isObject(options) ? options : { __proto__: null, capture: options };
        return { capture: Boolean(capture), once: Boolean(once), passive, signal };
    }

    function isObject(value) {
        return (typeof value === "object" && value !== null) || typeof value === "function";
    }

    /** The event handler attribute of a type. A new handler keeps the old handler's place among the listeners. */
    function makeHandler(type) {
        let handler = null;
        function callback(event) {
            if (typeof handler === "function" && apply(handler, nrx, [event]) === false) {
                event.preventDefault();
            }
        }
        const entry = { type, callback, capture: false, once: false };
        return {
            get: () => handler,
            set(value) {
                handler = isObject(value) ? value : null;
                if (handler === null) {
                    removeEntry(entry);
                } else {
                    addEntry(entry);
                }
            },
        };
    }

    function checkListener([...values], operation) {
        if (values.length < 2 || !(isObject(values[1]) || values[1] === null || values[1] === undefined)) {
            throw new TypeError(`nrx.${operation}: expected a type and a function or an object as the listener`);
        }
    }

    function checkList(list, operation) {
        if (!TYPES.includes(list)) {
            throw new TypeError(`nrx.${operation}: expected "command" or "event" as the list`);
        }
    }

    class NRX extends EventTarget {
        #handlers = { command: makeHandler("command"), event: makeHandler("event") };

        constructor() {
            if (!isConstructing) {
                throw new TypeError("Illegal constructor");
            }
            super();
        }

        addEventListener(type, callback, options = undefined) {
            this.#handlers;  // Throws a TypeError unless `this` is `nrx`.
            checkListener(arguments, "addEventListener");
            if (!TYPES.includes(type)) {
                apply(addEventListener, this, [type, callback, options]);
            } else if (isObject(callback)) {
                addEntry({ type, callback, ...readOptions(options) });
            }
        }

        removeEventListener(type, callback, options = undefined) {
            this.#handlers;
            checkListener(arguments, "removeEventListener");
            if (!TYPES.includes(type)) {
                apply(removeEventListener, this, [type, callback, options]);
                return;
            }
            const entry = findEntry({ type, callback, ...readOptions(options) });
            if (entry !== undefined) {
                removeEntry(entry);
            }
        }

        get oncommand() { return this.#handlers.command.get(); }
        set oncommand(handler) { this.#handlers.command.set(handler); }
        get onevent() { return this.#handlers.event.get(); }
        set onevent(handler) { this.#handlers.event.set(handler); }

        // The asynchronous methods never throw. If `this` or an argument is wrong, the promise rejects.

        async get(list) {
            this.#handlers;
            checkList(list, "get");
            return call("get", list);
        }

        async set(list, texts) {
            this.#handlers;
            checkList(list, "set");
            if (!Array.isArray(texts)) {
                throw new TypeError("nrx.set: expected an array of strings");
            }
            const copy = Object.setPrototypeOf([], null);
            for (let index = 0; index < texts.length; ++index) {
                const text = texts[index];
                if (typeof text !== "string") {
                    throw new TypeError(`nrx.set: expected a string at position ${index}`);
                }
                copy[index] = text;
            }
            return call("set", list, copy);
        }

        async device() {
            this.#handlers;
            return call("device");
        }

        async requestStartService() {
            this.#handlers;
            return call("requestStartService");
        }
    }
    Object.defineProperty(NRX.prototype, Symbol.toStringTag, { value: "NRX" });

    isConstructing = true;
    const nrx = new NRX();
    isConstructing = false;
    [NRX, NRX.prototype, nrx].forEach(Object.freeze);
    // Configurable, so that a script of the page may declare a variable of this name.
    Object.defineProperty(globalThis, "nrx", { value: nrx, enumerable: true, configurable: true });
    watchPage();
    // `document.open` removes all listeners. `watchPage` never adds a listener twice.
    new MutationObserver(watchPage).observe(document, { childList: true });
}
