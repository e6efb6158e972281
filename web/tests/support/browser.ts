// What views ask a browser for when they are loaded. Import it before them.
Object.defineProperty(globalThis, "navigator", { value: { languages: ["en-GB"] }, configurable: true });
