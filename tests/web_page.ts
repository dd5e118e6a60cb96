/// <reference path="../web/nrx.d.ts" />
// A page that uses every member of nrx. The test compiles the page, but does not run the page.

function show(texts: readonly string[]): void {
    document.body.append(texts.join(" "));
}

async function use(): Promise<void> {
    const control = new AbortController();
    nrx.addEventListener("command", (event) => show(event.detail), { once: true, signal: control.signal });
    const listener = { handleEvent: (event: NRXListEvent) => show(event.detail) };
    nrx.addEventListener("event", listener, true);
    nrx.removeEventListener("event", listener, true);
    nrx.addEventListener("custom", () => show([]));
    nrx.oncommand = function (event) { show([this[Symbol.toStringTag], ...event.detail]); };
    nrx.onevent = null;
    window.nrx.dispatchEvent(new CustomEvent("custom"));
    const command: string[] = await nrx.get("command");
    await nrx.set("event", command);
    const { softwareVersion, modelName, featureCode, deviceId }: NRXDevice = await nrx.device();
    show([softwareVersion, modelName, featureCode, deviceId].map((fact) => fact ?? "unknown"));
    await nrx.requestStartService().catch((error: NRXError) => show([error.name, `${error.status}`]));

    // @ts-expect-error: the list "volume" does not exist.
    await nrx.get("volume");
    // @ts-expect-error: a list has only texts.
    await nrx.set("event", [1]);
    // @ts-expect-error: methods are not writable.
    nrx.get = nrx.get;
    // @ts-expect-error: the list of an event is read-only.
    nrx.oncommand = (event) => event.detail.push("more");
    // @ts-expect-error: a fact may be unknown.
    const version: string = (await nrx.device()).softwareVersion;
    // @ts-expect-error: a page cannot construct NRX.
    new NRX();
}

void use();
