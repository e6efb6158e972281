// What a finger can hit. A control may be drawn smaller than the place that reacts.

const kFinger = 48; // CSS pixels
// Rows of a list and fields that several lines tall may be a little lower: their neighbours do not lie over them.
const kRow = 40;

// The controls in view, or that can be scrolled into view, that are too small for a finger, and how large they are.
export function smallTargets(page, root = "body") {
  return page.evaluate(
    ([selector, finger, row]) => {
      const kControls = "button, a[href], input, select, textarea, summary, [role=button], [role^=menuitem], [role=slider], [draggable=true]";
      const seen = (element) => element.checkVisibility({ opacityProperty: true, visibilityProperty: true }) && element.getClientRects().length > 0;
      // What a finger would hit at that place acts as the element does.
      const isHit = (element, x, y) => {
        const hit = document.elementFromPoint(x, y);
        if (hit === null) return false;
        const control = hit.closest("label")?.control;
        return element === hit || element.contains(hit) || control === element;
      };
      // As far as it is hit in one direction from its middle.
      const reach = (element, x, y, dx, dy) => {
        let far = 0;
        while (far < finger && isHit(element, x + dx * (far + 1), y + dy * (far + 1))) ++far;
        return far;
      };
      const small = [];
      let count = 0;
      for (const element of document.querySelector(selector).querySelectorAll(kControls)) {
        if (!seen(element) || element.disabled || element.matches(".panel-grip, .signal-row, input[type=file]")) continue;
        element.scrollIntoView({ block: "center", inline: "nearest" });
        const box = element.getBoundingClientRect();
        const [x, y] = [box.left + box.width / 2, box.top + box.height / 2];
        if (!isHit(element, x, y)) continue; // something lies over it
        ++count;
        const width = reach(element, x, y, -1, 0) + reach(element, x, y, 1, 0) + 1;
        const height = reach(element, x, y, 0, -1) + reach(element, x, y, 0, 1) + 1;
        const least = element.closest("[data-stop], [role=listitem], [role=row]") === null ? finger : row;
        if (width >= finger - 1 && height >= least - 1) continue;
        const name = element.getAttribute("aria-label") ?? element.getAttribute("placeholder") ?? element.textContent.trim();
        small.push(`${element.tagName.toLowerCase()}.${element.className} "${name.slice(0, 40)}": ${width} by ${height}`);
      }
      return { small: [...new Set(small)], count };
    },
    [root, kFinger, kRow],
  );
}
