// The object `nrx` of pages on a television, for authors in TypeScript.

/** What `addEventListener` hands over: a list that came, in the order of the lists. */
type NRXListEvent = CustomEvent<readonly string[]>;

type NRXList = "command" | "event";

type NRXListener = ((this: NRX, event: NRXListEvent) => unknown) | { handleEvent(event: NRXListEvent): unknown };

/** What `get`, `set` and the bounds reject with. */
interface NRXError extends Error {
    readonly name: "NRXError";
    /** The television's, or 127: the list is too large, 128: too many calls wait, 129: the page is gone. */
    readonly status: number;
}

/** Facts about the television; `null` where one cannot be read. */
interface NRXDevice {
    softwareVersion: string | null;
    modelName: string | null;
    featureCode: string | null;
    deviceId: string | null;
}

interface NRX extends EventTarget {
    readonly [Symbol.toStringTag]: "NRX";
    oncommand: ((this: NRX, event: NRXListEvent) => unknown) | null;
    onevent: ((this: NRX, event: NRXListEvent) => unknown) | null;
    addEventListener(type: NRXList, listener: NRXListener | null, options?: boolean | AddEventListenerOptions): void;
    addEventListener(type: string, listener: EventListenerOrEventListenerObject | null,
                     options?: boolean | AddEventListenerOptions): void;
    removeEventListener(type: NRXList, listener: NRXListener | null, options?: boolean | EventListenerOptions): void;
    removeEventListener(type: string, listener: EventListenerOrEventListenerObject | null,
                        options?: boolean | EventListenerOptions): void;
    /** Reads a list. Rejects with an `NRXError`. */
    readonly get: (list: NRXList) => Promise<string[]>;
    /** Writes a list of at most 1 MiB. Rejects with an `NRXError`. */
    readonly set: (list: NRXList, texts: readonly string[]) => Promise<void>;
    /** Reads the facts about the television anew. */
    readonly device: () => Promise<NRXDevice>;
    /** Asks the television to start the NRX service; resolves when it was asked, whatever becomes of it. */
    readonly requestStartService: () => Promise<void>;
}

/** There only in the main documents of the origins that the television allows. */
declare const nrx: NRX;

interface Window {
    readonly nrx: NRX;
}
