// The whole screen: header, signal list, panels and tools.
import { effect } from "@preact/signals";
import { render } from "preact";
import { useEffect } from "preact/hooks";
import { texts, language } from "../i18n/texts.ts";
import type { Store } from "../store/model.ts";
import { Provide, useWorkspace } from "./context.ts";
import { Dock } from "./dock/dock.tsx";
import { Grid } from "./grid.tsx";
import { Header } from "./header.tsx";
import { listenToKeys } from "./keyboard.ts";
import { KeysDialog, PresetsDialog } from "./dialogs.tsx";
import { Notices } from "./notices.tsx";
import { Sidebar } from "./signal_list.tsx";
import { Toolbar } from "./toolbar.tsx";
import { keepAwake } from "./wake_lock.ts";
import { Workspace } from "./workspace.ts";

/// Shows the page in `host`. Returns what takes it away again.
export function mount(host: HTMLElement, store: Store): () => void {
  const workspace = new Workspace(store);
  // Before anything is drawn: charts read their colours from the style sheet of the theme.
  const stopTheme = effect(() => {
    document.documentElement.dataset["theme"] = workspace.theme.value;
  });
  render(
    <Provide value={{ store, workspace }}>
      <App />
    </Provide>,
    host,
  );
  const stopKeys = listenToKeys(store, workspace);
  const stopAwake = keepAwake();
  return () => {
    stopKeys();
    stopAwake();
    stopTheme();
    workspace.dispose();
    render(null, host);
  };
}

function App() {
  const workspace = useWorkspace();
  const tongue = language.value;
  useEffect(() => {
    document.documentElement.lang = tongue;
    document.title = texts().title;
  }, [tongue]);
  return (
    <div class={`app ${workspace.sidebar.value ? "with-sidebar" : ""} ${workspace.dock.value !== null ? "with-dock" : ""}`}>
      <Header />
      <Toolbar />
      <div class="body">
        <Sidebar />
        <Grid />
        <Dock />
      </div>
      <Notices />
      {workspace.dialog.value === "keys" && <KeysDialog />}
      {workspace.dialog.value === "presets" && <PresetsDialog />}
    </div>
  );
}
