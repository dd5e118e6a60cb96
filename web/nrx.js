/**
 * Gives this document the object `nrx`. Runs before the first script of the document.
 *
 * `native` connects the document with the television:
 *   attach(receiveList, receiveAnswer)  keeps the two functions and calls them until `detach`; returns a status;
 *   detach()                            releases them, stops both lists and drops what waits;
 *   listen(type, isOn)                  starts or stops the lists of one type;
 *   call(operation, id, json)           returns 0 and answers later under `id`, or returns a status.
 * `receiveList(type, json)` and `receiveAnswer(id, status, json)` take the JSON text of a value.
 */
function installNrx(native) {
    "use strict";

    const TYPES = ["command", "event"];
    const STATUS_PAGE_GONE = 129;

    // Taken now: the page may replace them later.
    const { AbortSignal, CustomEvent } = globalThis;
    const { parse, stringify } = JSON;
    const { addEventListener, removeEventListener, dispatchEvent } = EventTarget.prototype;

    let isConstructing = false;
    let isShown = true;
    let isAttached = false;
    let lastId = 0;
    const pendingCalls = new Map();  // By identifier.
    const listeners = new Map();     // By type: what `addEventListener` was called with.
    const listening = new Set();     // The types that the native part was asked for.

    class NRXError extends Error {
        constructor(status) {
            super(`The television's status is ${status}`);
            this.status = status;
        }
    }
    Object.defineProperty(NRXError.prototype, "name", { value: "NRXError", writable: true, configurable: true });

    /** Attaches at the first use, so that a document without one costs nothing. Returns a status. */
    function attach() {
        if (!isShown) {
            return STATUS_PAGE_GONE;
        }
        watchPage();
        if (isAttached) {
            return 0;
        }
        const status = native.attach(receiveList, receiveAnswer);
        isAttached = status === 0;
        return status;
    }

    /** Again and again, since `document.open` removes all listeners; one that is there is not added twice. */
    function watchPage() {
        addEventListener.call(globalThis, "pagehide", onPageHide, true);
        addEventListener.call(globalThis, "pageshow", onPageShow, true);
    }

    function onPageHide(event) {
        if (!event.isTrusted) {
            return;
        }
        isShown = false;
        isAttached = false;
        native.detach();
        listening.clear();
        const calls = [...pendingCalls.values()];
        pendingCalls.clear();
        for (const { reject } of calls) {
            reject(new NRXError(STATUS_PAGE_GONE));
        }
    }

    function onPageShow(event) {
        if (event.isTrusted && event.persisted) {
            isShown = true;
            TYPES.forEach(updateListening);
        }
    }

    function updateListening(type) {
        const isOn = listeners.get(type).length > 0;
        if (isOn === listening.has(type) || attach() !== 0) {
            return;
        }
        if (isOn) {
            listening.add(type);
        } else {
            listening.delete(type);
        }
        native.listen(type, isOn);
    }

    function receiveList(type, json) {
        watchPage();
        // An "abort" listener of the page may have kept the event from ours.
        for (const entry of listeners.get(type).filter(({ signal }) => signal?.aborted)) {
            removeEntry(entry);
        }
        dispatchEvent.call(nrx, new CustomEvent(type, { detail: Object.freeze(parse(json)) }));
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
        // The listener that the browser calls; it must know when a listener for one event is gone.
        entry.listener = function (event) {
            if (entry.once) {
                removeEntry(entry);
            }
            return typeof entry.callback === "function" ? entry.callback.call(this, event)
                                                        : entry.callback.handleEvent(event);
        };
        addEventListener.call(nrx, entry.type, entry.listener, { capture: entry.capture, passive: entry.passive });
        if (entry.signal !== undefined) {
            entry.abort = () => removeEntry(entry);
            addEventListener.call(entry.signal, "abort", entry.abort);
        }
        entries.push(entry);
        updateListening(entry.type);
    }

    function removeEntry(entry) {
        const entries = listeners.get(entry.type);
        const index = entries.indexOf(entry);
        if (index < 0) {
            return;
        }
        entries.splice(index, 1);
        removeEventListener.call(nrx, entry.type, entry.listener, entry.capture);
        if (entry.signal !== undefined) {
            removeEventListener.call(entry.signal, "abort", entry.abort);
        }
        updateListening(entry.type);
    }

    /** The members of `options` in the order in which a browser reads them. */
    function readOptions(options) {
        if (options === null || (typeof options !== "object" && typeof options !== "function")) {
            return { capture: Boolean(options), once: false, passive: undefined, signal: undefined };
        }
        const { capture, once, passive, signal } = options;
        if (signal !== undefined && !(signal instanceof AbortSignal)) {
            throw new TypeError("nrx.addEventListener: expected an AbortSignal as the option \"signal\"");
        }
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
                        if (typeof handler === "function" && handler.call(nrx, event) === false) {
                            event.preventDefault();
                        }
                    } };
                    addEntry(entry);
                }
            },
        };
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
            type = `${type}`;
            if (!TYPES.includes(type)) {
                addEventListener.call(this, type, callback, options);
                return;
            }
            if (callback !== null && callback !== undefined && !isObject(callback)) {
                throw new TypeError("nrx.addEventListener: expected a function or an object as the listener");
            }
            const { signal, ...rest } = readOptions(options);
            if (isObject(callback) && !signal?.aborted) {
                addEntry({ type, callback, signal, ...rest });
            }
        }

        removeEventListener(type, callback, options = undefined) {
            this.#handlers;
            type = `${type}`;
            if (!TYPES.includes(type)) {
                removeEventListener.call(this, type, callback, options);
                return;
            }
            const wanted = isObject(options) ? Boolean(options.capture) : Boolean(options);
            const entry = listeners.get(type).find(
                (added) => added.callback === callback && added.capture === wanted);
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
    Object.defineProperty(globalThis, "nrx", { value: nrx, enumerable: true });
}
