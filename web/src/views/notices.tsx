// What has to be told once, in a corner.
import { texts } from "../i18n/texts.ts";
import { useStore } from "./context.ts";
import { Button } from "./ui/button.tsx";
import { Icon } from "./ui/icons.tsx";

export function Notices() {
  const store = useStore();
  const t = texts();
  return (
    <div class="notices" role="status" aria-label={t.regions.notices} data-testid="notices">
      {store.notices.value.map((notice) => (
        <div class={`notice ${notice.kind}`} key={notice.id}>
          {notice.kind === "error" && <Icon name="warning" />}
          <div class="notice-text">
            <p>{t.notices[notice.text]}</p>
            {notice.detail !== "" && <p class="muted">{notice.detail}</p>}
          </div>
          <Button icon="close" label={t.notices.dismiss} onClick={() => store.dismiss(notice.id)} />
        </div>
      ))}
    </div>
  );
}
