// What modules with texts expect of a browser when they are loaded. Import it before them.
Object.defineProperty(globalThis, "navigator", { value: { languages: ["en"] }, configurable: true });
