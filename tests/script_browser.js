// Test doubles of the parts of a browser that nrx.js needs, because the script engine of the test runs without a
// browser. `show` sends the page the event "pagehide" or "pageshow".
globalThis.EventTarget = class EventTarget {
    addEventListener(type, listener) {
        const all = ((this ?? globalThis).listeners ??= new Map());
        all.set(type, (all.get(type) ?? new Set()).add(listener));
    }
    removeEventListener(type, listener) { this.listeners.get(type)?.delete(listener); }
    dispatchEvent(event) { [...this.listeners.get(event.type) ?? []].forEach((listener) => listener.call(this, event)); }
};
globalThis.Event = class { constructor(type, values) { Object.assign(this, values, { type }); } };
globalThis.CustomEvent = Event;
globalThis.document = {};
globalThis.MutationObserver = class { observe() {} };
function show(type, persisted) {
    EventTarget.prototype.dispatchEvent.call(globalThis, new Event(type, { isTrusted: true, persisted }));
}
var received = [];
var ends = [];
function call(promise) { promise.then((value) => ends.push(value ?? null), (error) => ends.push(error.status)); }
function listen() {
    nrx.oncommand = ({ detail }) => received.push(...detail);
    call(nrx.get("event"));
}
// Freezes only arrays. `nrx` must not be frozen, because the EventTarget above stores the listeners in `nrx`.
const { freeze } = Object;
Object.freeze = (value) => Array.isArray(value) ? freeze(value) : value;
