// Types of the object `nrx`, for pages written in TypeScript.

/** The event of a received list. `detail` has the list's texts; events arrive in the order of the lists. */
type NRXListEvent = CustomEvent<readonly string[]>;

type NRXList = "command" | "event";

type NRXListener = ((this: NRX, event: NRXListEvent) => unknown) | { handleEvent(event: NRXListEvent): unknown };

/** The error with which a call of `nrx` rejects. */
interface NRXError extends Error {
    readonly name: "NRXError";
    /**
     * The status of the television or of the library, or 127 (the list is too large), 128 (too many calls wait) or 129
     * (the page was left).
     */
    readonly status: number;
}

/** Facts about the television. A fact that cannot be read is `null`. */
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
    /** Reads the facts about the television; never returns cached facts. */
    readonly device: () => Promise<NRXDevice>;
    /** Asks the television to start the NRX service. Resolves after the request, even if the television refuses. */
    readonly requestStartService: () => Promise<void>;
}

/** Exists only in the documents of main frames, and only for the origins that the web extension allows. */
declare const nrx: NRX;

interface Window {
    readonly nrx: NRX;
}
