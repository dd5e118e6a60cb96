/**
 * Gives this document the object `nrx`. Runs before the first script of the document.
 *
 * `native` connects the document with the television:
 *   attach(receiveList, updateLists, receiveAnswer)
 *                                       keeps the functions and calls them until `detach`; returns a status;
 *   detach()                            releases them, stops both lists and drops what waits;
 *   listen(type, isOn)                  starts or stops the lists of one type;
 *   call(operation, id, json)           returns 0 and answers later under `id`, or returns a status.
 * `receiveList(type, json)` takes the JSON text of a list; when it returns true, `updateLists()` is called after the
 * page's microtasks. `receiveAnswer(id, status, json)` takes the JSON text of a value, or an empty text.
 */
function installNrx(native) {
    "use strict";

    const TYPES = ["command", "event"];
    const STATUS_PAGE_GONE = 129;

    // What a library of the page may replace later.
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
    let isReceiving = false;  // A list is being received: what its listeners switch off is switched off after them.
    let lastId = 0;
    const pendingCalls = new Map();  // By identifier.
    const listeners = new Map();     // By type: what `addEventListener` was called with.
    const listening = new Set();     // The types that the native part was asked for.

    class NRXError extends Error {
        constructor(status) {
            super(TEXTS[status] ?? `The television's status is ${status}`);
            this.status = status;
        }
    }
    Object.defineProperty(NRXError.prototype, "name", { value: "NRXError", writable: true, configurable: true });

    /** Attaches at the first use, so that a document without one costs nothing. Returns a status. */
    function attach() {
        if (!isShown) {
            return STATUS_PAGE_GONE;
        }
        if (isAttached) {
            return 0;
        }
        const status = native.attach(receiveList, updateLists, receiveAnswer);
        isAttached = status === 0;
        return status;
    }

    function detach() {
        isAttached = false;
        isReceiving = false;
        listening.clear();
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
        const calls = [...pendingCalls.values()];
        pendingCalls.clear();
        for (const { reject } of calls) {
            reject(new NRXError(STATUS_PAGE_GONE));
        }
    }

    function onPageShow(event) {
        if (event.isTrusted && event.persisted) {
            isShown = true;
            updateLists();
        }
    }

    function updateListening(type) {
        const isOn = listeners.get(type).length > 0;
        if (isOn === listening.has(type) || (!isOn && isReceiving) || attach() !== 0) {
            return;
        }
        if (isOn) {
            listening.add(type);
        } else {
            listening.delete(type);
        }
        native.listen(type, isOn);
    }

    function updateLists() {
        isReceiving = false;
        TYPES.forEach(updateListening);
    }

    function receiveList(type, json) {
        // An "abort" listener of the page may have kept the event from ours.
        for (const entry of listeners.get(type).filter(({ signal }) => signal?.aborted)) {
            removeEntry(entry);
        }
        // A page that waits for one list after the other has no listener between two of them.
        isReceiving = true;
        const detail = Object.freeze(parse(json));
        apply(dispatchEvent, nrx, [new CustomEvent(type, { __proto__: null, detail })]);
        isReceiving = TYPES.some((each) => listening.has(each) && listeners.get(each).length === 0);
        return isReceiving;
    }

    function receiveAnswer(id, status, json) {
        const call = pendingCalls.get(id);
        if (call === undefined) {
            return;  // It was rejected when the page was hidden.
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
            // Without a prototype, so that no `toJSON` of the page is called.
            const json = stringify(Object.setPrototypeOf(values, null));
            const status = attach() || native.call(operation, id, json);
            if (status === 0) {
                pendingCalls.set(id, { resolve, reject });
            } else {
                reject(new NRXError(status));
            }
        });
    }

    function addEntry(entry) {
        const entries = listeners.get(entry.type);
        if (entries.some(({ callback, capture }) => callback === entry.callback && capture === entry.capture)) {
            return;
        }
        const { type, callback, capture, once, passive, signal } = entry;
        // The listener that the browser calls; it must know when a listener for one event is gone.
        entry.listener = function (event) {
            if (once) {
                removeEntry(entry);
            }
            if (typeof callback === "function") {
                apply(callback, this, [event]);
            } else {
                callback.handleEvent(event);
            }
        };
        const options = { __proto__: null, capture, once, passive };
        apply(addEventListener, nrx, [type, entry.listener, signal === undefined ? options : { ...options, signal }]);
        if (signal?.aborted) {
            return;
        }
        if (signal !== undefined) {
            entry.abort = () => removeEntry(entry);
            apply(addEventListener, signal, ["abort", entry.abort]);
        }
        entries.push(entry);
        updateListening(type);
    }

    function removeEntry(entry) {
        const entries = listeners.get(entry.type);
        const index = entries.indexOf(entry);
        if (index < 0) {
            return;
        }
        entries.splice(index, 1);
        apply(removeEventListener, nrx, [entry.type, entry.listener, entry.capture]);
        if (entry.signal !== undefined) {
            apply(removeEventListener, entry.signal, ["abort", entry.abort]);
        }
        updateListening(entry.type);
    }

    /** The members of `options` in the order in which a browser reads them. */
    function readOptions(options) {
        if (!isObject(options)) {
            return { capture: Boolean(options), once: false };
        }
        const { capture, once, passive, signal } = options;
        return { capture: Boolean(capture), once: Boolean(once), passive, signal };
    }

    function isObject(value) {
        return (typeof value === "object" && value !== null) || typeof value === "function";
    }

    /** The event handler attribute of a type. A handler keeps the place of the one that it replaces. */
    function makeHandler(type) {
        let handler = null;
        let entry = null;
        return {
            get: () => handler,
            set(value) {
                handler = isObject(value) ? value : null;
                if (handler === null && entry !== null) {
                    removeEntry(entry);
                    entry = null;
                } else if (handler !== null && entry === null) {
                    entry = { type, capture: false, once: false, callback(event) {
                        if (typeof handler === "function" && apply(handler, nrx, [event]) === false) {
                            event.preventDefault();
                        }
                    } };
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
            this.#handlers;  // Of `nrx` alone: a TypeError otherwise.
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
            const { capture } = readOptions(options);
            const entry = listeners.get(type).find((added) => added.callback === callback && added.capture === capture);
            if (entry !== undefined) {
                removeEntry(entry);
            }
        }

        get oncommand() {
            return this.#handlers.command.get();
        }

        set oncommand(handler) {
            this.#handlers.command.set(handler);
        }

        get onevent() {
            return this.#handlers.event.get();
        }

        set onevent(handler) {
            this.#handlers.event.set(handler);
        }

        // The asynchronous ones reject, also where another object or a wrong argument is the reason.

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
    TYPES.forEach((type) => listeners.set(type, []));

    isConstructing = true;
    const nrx = new NRX();
    isConstructing = false;
    [NRX, NRX.prototype, nrx].forEach(Object.freeze);
    // A script of the page may declare a variable of this name.
    Object.defineProperty(globalThis, "nrx", { value: nrx, enumerable: true, configurable: true });
    watchPage();
    // `document.open` removes all listeners. One that is there is not added twice.
    new MutationObserver(watchPage).observe(document, { childList: true });
}
