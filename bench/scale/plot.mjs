// Plots as SVG: panels side by side, both axes logarithmic, each curve named at its end.

const [kWidth, kHeight] = [300, 230]; // of a panel's drawing
const kMargin = { left: 62, right: 118, top: 34, bottom: 46 };
const kColours = ["#1f5fa8", "#b3541e", "#2c7a3f", "#7a3b8f", "#8a6d00"];

const escape = (text) => text.replaceAll("&", "&amp;").replaceAll("<", "&lt;");
const short = (value) => (value >= 1e6 ? `${value / 1e6} M` : value >= 1e4 ? `${value / 1e3} k` : String(value));

// Powers of ten within the values, at least one above and one below.
function decades(values) {
  const low = Math.floor(Math.log10(Math.min(...values)));
  const high = Math.max(low + 1, Math.ceil(Math.log10(Math.max(...values))));
  return Array.from({ length: high - low + 1 }, (_, i) => Number(`1e${low + i}`));
}

const text = (x, y, anchor, content, more = "") =>
  `<text x="${x.toFixed(1)}" y="${y.toFixed(1)}" text-anchor="${anchor}"${more}>${escape(content)}</text>`;

// Heights for the curves' names: as near to their ends as they can be without one upon the other.
function spread(heights) {
  const order = heights.map((height, i) => ({ height, i })).sort((a, b) => a.height - b.height);
  for (let k = 1; k < order.length; k++) order[k].height = Math.max(order[k].height, order[k - 1].height + 13);
  return order.sort((a, b) => a.i - b.i).map(({ height }) => height);
}

function panelOf({ title, xTitle, curves }, left) {
  const points = curves.flatMap((curve) => curve.points);
  const [xs, ys] = [points.map(([x]) => x), decades(points.map(([, y]) => y))];
  const [x0, x1] = [Math.log10(Math.min(...xs)), Math.log10(Math.max(...xs))];
  const [y0, y1] = [Math.log10(ys[0]), Math.log10(ys.at(-1))];
  const xAt = (x) => left + kMargin.left + (kWidth * (Math.log10(x) - x0)) / (x1 - x0 || 1);
  const yAt = (y) => kMargin.top + kHeight * (1 - (Math.log10(y) - y0) / (y1 - y0));
  const parts = [text(left + kMargin.left, 18, "start", title, ' font-weight="bold"')];
  for (const y of ys) {
    parts.push(`<path d="M${xAt(10 ** x0)} ${yAt(y).toFixed(1)}H${xAt(10 ** x1)}" stroke="#ddd"/>`);
    parts.push(text(left + kMargin.left - 6, yAt(y) + 4, "end", short(y)));
  }
  for (const x of new Set(xs)) parts.push(text(xAt(x), kMargin.top + kHeight + 16, "middle", short(x)));
  parts.push(text(xAt(10 ** ((x0 + x1) / 2)), kMargin.top + kHeight + 36, "middle", xTitle));
  const names = spread(curves.map(({ points }) => yAt(points.at(-1)[1])));
  curves.forEach(({ name, points }, i) => {
    const colour = kColours[i % kColours.length];
    const at = points.map(([x, y]) => `${xAt(x).toFixed(1)} ${yAt(y).toFixed(1)}`);
    parts.push(`<path d="M${at.join("L")}" fill="none" stroke="${colour}" stroke-width="1.8"/>`);
    for (const place of at) parts.push(`<circle cx="${place.split(" ")[0]}" cy="${place.split(" ")[1]}" r="2.6" fill="${colour}"/>`);
    parts.push(text(xAt(10 ** x1) + 8, names[i] + 4, "start", name, ` fill="${colour}"`));
  });
  return parts.join("\n");
}

// panels: [{title, xTitle, curves: [{name, points: [[x, y], ...]}]}]. A value of nothing has no place on such an axis.
export function svgOf(description, panels) {
  const shown = panels.map((panel) => ({
    ...panel,
    curves: panel.curves
      .map((curve) => ({ ...curve, points: curve.points.filter(([, y]) => y > 0) }))
      .filter(({ points }) => points.length > 0),
  }));
  const each = kMargin.left + kWidth + kMargin.right;
  const [width, height] = [each * shown.length, kMargin.top + kHeight + kMargin.bottom];
  return `<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 ${width} ${height}" role="img" font-family="sans-serif" font-size="12" fill="#222">
<title>${escape(description)}</title>
<rect width="${width}" height="${height}" fill="#fff"/>
${shown.map((panel, i) => panelOf(panel, i * each)).join("\n")}
</svg>
`;
}
