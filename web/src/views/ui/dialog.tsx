// A question or a list above the page. Escape and a click beside it close it.
import type { ComponentChildren } from "preact";
import { useLayoutEffect, useRef } from "preact/hooks";
import { texts } from "../../i18n/texts.ts";
import { Button } from "./button.tsx";

export function Dialog({ title, close, children }: { title: string; close: () => void; children: ComponentChildren }) {
  const root = useRef<HTMLDialogElement>(null);
  useLayoutEffect(() => {
    root.current!.showModal();
  }, []);
  return (
    <dialog ref={root} class="dialog" aria-label={title} onClose={close} onClick={(event) => event.target === root.current && close()}>
      <div class="dialog-head">
        <h2>{title}</h2>
        <Button icon="close" label={texts().common.close} onClick={close} />
      </div>
      <div class="dialog-body">{children}</div>
    </dialog>
  );
}
