// A part of the page as a picture: what the browser has laid out is drawn once more, on a canvas. It knows what panels are
// made of: boxes with backgrounds, borders and outlines, texts in one line, canvases and pictograms of paths.

interface Box {
  readonly left: number;
  readonly top: number;
  readonly right: number;
  readonly bottom: number;
}

const kSides = ["Top", "Right", "Bottom", "Left"] as const;
const kBlank = /^(transparent|rgba\(0, 0, 0, 0\))$/;

/// The element as it is seen at the moment: what is scrolled away or hidden stays away.
export function pictureOf(element: HTMLElement): HTMLCanvasElement {
  const ratio = devicePixelRatio;
  const { left, top, right, bottom } = element.getBoundingClientRect();
  const canvas = document.createElement("canvas");
  canvas.width = Math.max(1, Math.round((right - left) * ratio));
  canvas.height = Math.max(1, Math.round((bottom - top) * ratio));
  const pen = canvas.getContext("2d")!;
  // Whole pixels stay whole ones.
  pen.setTransform(ratio, 0, 0, ratio, -Math.round(left * ratio), -Math.round(top * ratio));
  drawElement(pen, element, { left, top, right, bottom }, 1);
  return canvas;
}

function drawElement(pen: CanvasRenderingContext2D, element: Element, clip: Box, opacity: number): void {
  const style = getComputedStyle(element);
  const alpha = opacity * Number(style.opacity);
  if (style.display === "none" || alpha === 0) return;
  const box = element.getBoundingClientRect();
  // What is meant for screen readers alone is cut away.
  const within = style.overflow === "visible" ? clip : common(clip, box);
  if (style.clipPath !== "none" || within.right <= within.left || within.bottom <= within.top) return;
  pen.save();
  pen.globalAlpha = alpha;
  cut(pen, clip);
  if (style.visibility === "visible") {
    drawBox(pen, box, style);
    if (element instanceof HTMLCanvasElement) {
      if (element.width > 1) pen.drawImage(element, box.left, box.top, box.width, box.height);
    } else if (element instanceof SVGPathElement) drawPath(pen, element, style);
  }
  cut(pen, within);
  for (const child of element.childNodes) {
    if (child instanceof Text) {
      if (style.visibility === "visible") drawText(pen, child, style, within);
    } else if (child instanceof Element) drawElement(pen, child, within, alpha);
  }
  pen.restore();
}

function common(a: Box, b: Box): Box {
  return {
    left: Math.max(a.left, b.left),
    top: Math.max(a.top, b.top),
    right: Math.min(a.right, b.right),
    bottom: Math.min(a.bottom, b.bottom),
  };
}

function cut(pen: CanvasRenderingContext2D, { left, top, right, bottom }: Box): void {
  pen.beginPath();
  pen.rect(left, top, right - left, bottom - top);
  pen.clip();
}

function drawBox(pen: CanvasRenderingContext2D, { left, top, width, height }: DOMRect, style: CSSStyleDeclaration): void {
  if (!kBlank.test(style.backgroundColor)) {
    pen.fillStyle = style.backgroundColor;
    pen.beginPath();
    pen.roundRect(left, top, width, height, parseFloat(style.borderTopLeftRadius) || 0);
    pen.fill();
  }
  for (const side of kSides) {
    const size = parseFloat(style[`border${side}Width`]);
    if (size === 0 || style[`border${side}Style`] === "none") continue;
    const along = side === "Left" || side === "Right";
    const x = side === "Right" ? left + width - size / 2 : left + (along ? size / 2 : 0);
    const y = side === "Bottom" ? top + height - size / 2 : top + (along ? 0 : size / 2);
    pen.strokeStyle = style[`border${side}Color`];
    pen.lineWidth = size;
    pen.setLineDash(style[`border${side}Style`] === "dashed" ? [2 * size, size] : []);
    pen.beginPath();
    pen.moveTo(x, y);
    pen.lineTo(along ? x : left + width, along ? top + height : y);
    pen.stroke();
  }
  pen.setLineDash([]);
  if (style.outlineStyle !== "none") {
    const size = parseFloat(style.outlineWidth);
    pen.strokeStyle = style.outlineColor;
    pen.lineWidth = size;
    pen.strokeRect(left - size / 2, top - size / 2, width + size, height + size);
  }
}

function drawPath(pen: CanvasRenderingContext2D, path: SVGPathElement, style: CSSStyleDeclaration): void {
  const { a, b, c, d, e, f } = path.getScreenCTM()!;
  pen.save();
  pen.transform(a, b, c, d, e, f);
  pen.strokeStyle = style.stroke;
  pen.lineWidth = parseFloat(style.strokeWidth);
  pen.lineCap = style.strokeLinecap as CanvasLineCap;
  pen.lineJoin = style.strokeLinejoin as CanvasLineJoin;
  pen.stroke(new Path2D(path.getAttribute("d")!));
  pen.restore();
}

/// Texts of such characters alone are drawn character by character, where the browser has put them.
const kSingle = /^[\x20-\x7e\u00a0-\u00ff\u2010-\u2026\u202f\u2212]*$/;

function drawText(pen: CanvasRenderingContext2D, node: Text, style: CSSStyleDeclaration, clip: Box): void {
  const text = node.data.trim();
  if (text === "") return;
  const range = document.createRange();
  const begin = node.data.indexOf(text);
  const boxOf = (from: number, to: number) => {
    range.setStart(node, begin + from);
    range.setEnd(node, begin + to);
    return range.getBoundingClientRect();
  };
  const box = boxOf(0, text.length);
  if (box.width === 0) return;
  pen.font = `${style.fontStyle} ${style.fontWeight} ${style.fontSize} ${style.fontFamily}`;
  pen.fillStyle = style.color;
  pen.textBaseline = "alphabetic";
  pen.textAlign = "left";
  const { fontBoundingBoxAscent: ascent, fontBoundingBoxDescent: descent } = pen.measureText(text);
  const line = Math.round(box.top + (box.height - ascent - descent) / 2 + ascent);
  const cutOff = box.right > clip.right + 1 && style.textOverflow === "ellipsis";
  const room = clip.right - (cutOff ? pen.measureText("…").width : 0);
  let end = text.length;
  while (cutOff && end > 0 && boxOf(0, end).right > room) --end;
  if (cutOff) pen.fillText("…", boxOf(0, end).right, line);
  if (!kSingle.test(text)) {
    pen.fillText(text.slice(0, end), box.left, line);
    return;
  }
  for (let index = 0; index < end; ++index) {
    const { left, width } = boxOf(index, index + 1);
    // Figures have boxes of one width here and widths of their own there.
    const spare = /\d/.test(text[index]!) ? (width - (parseFloat(style.letterSpacing) || 0) - pen.measureText(text[index]!).width) / 2 : 0;
    pen.fillText(text[index]!, left + spare, line);
  }
}
