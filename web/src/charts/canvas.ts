// Canvases that fit their boxes at the screen's own resolution.

/// Makes the canvas `width` by `height` CSS pixels and gives a cleared pen whose unit is a CSS pixel.
export function preparePen(canvas: HTMLCanvasElement, width: number, height: number): CanvasRenderingContext2D {
  const ratio = devicePixelRatio;
  const pen = canvas.getContext("2d")!;
  const inner = [Math.max(1, Math.round(width * ratio)), Math.max(1, Math.round(height * ratio))] as const;
  if (canvas.width !== inner[0] || canvas.height !== inner[1]) {
    [canvas.width, canvas.height] = inner;
    canvas.style.width = `${width}px`;
    canvas.style.height = `${height}px`;
  }
  pen.setTransform(ratio, 0, 0, ratio, 0, 0);
  pen.clearRect(0, 0, width, height);
  return pen;
}
