// Plots on a canvas: their area, axes and marks.

const LEFT = 44;   // pixels for the labels beside a plot
const LABEL = 72;  // from label to label at least

/** Pixels below a plot for a time axis. */
export const AXIS = 22;

/** Pixels above a plot for its title. */
export const TITLE = 20;

/** A colour of the style sheet, which depends on the light. */
export const colour = (name) =>
  getComputedStyle(document.documentElement).getPropertyValue(name).trim();

/** Leaves nothing on a canvas. */
export function empty(canvas) {
  const pen = canvas.getContext("2d");
  pen.setTransform(1, 0, 0, 1, 0, 0);
  pen.clearRect(0, 0, canvas.width, canvas.height);
}

/**
 * A canvas as sharp as the screen, cleared, with its plot's rectangle.
 * @param room  pixels above and below the plot
 */
export function prepare(canvas, { top = 4, bottom }) {
  const ratio = window.devicePixelRatio || 1;
  const { width, height } = canvas.getBoundingClientRect();
  canvas.width = Math.round(width * ratio);
  canvas.height = Math.round(height * ratio);
  const pen = canvas.getContext("2d");
  pen.scale(ratio, ratio);
  pen.font = `12px ${getComputedStyle(document.body).fontFamily}`;
  const area = { x: LEFT, y: top, width: width - LEFT, height: height - top - bottom };
  pen.fillStyle = colour("--panel");
  pen.fillRect(area.x, area.y, area.width, area.height);
  return { pen, area };
}

/** The smallest step that people count in with room for labels. */
export function stepFor(length, pixels, room) {
  const steps = [0.5, 1, 2, 5, 10, 15, 30, 60, 120, 300, 600];
  return steps.find((step) => (step / length) * pixels >= room) ?? 1200;
}

/** Writes beside a point, which is at its middle's height. */
export function label(pen, text, x, y, align) {
  pen.fillStyle = colour("--soft");
  pen.textAlign = align;
  pen.textBaseline = "middle";
  pen.fillText(text, x, y);
}

/** Seconds along the lower edge. */
export function timeAxis({ pen, area }, seconds) {
  const step = stepFor(seconds, area.width, LABEL);
  for (let second = 0; second <= seconds; second += step) {
    const x = area.x + (second / seconds) * area.width;
    if (x > area.x + area.width - 14 && second > 0) break;
    label(pen, `${second} s`, x, area.y + area.height + 12, second ? "center" : "left");
  }
}

/** A dot in the colour that fills. */
export function dot(pen, x, y, radius) {
  pen.beginPath();
  pen.arc(x, y, radius, 0, 2 * Math.PI);
  pen.fill();
}

/** Keeps what is drawn inside the plot, until `pen.restore()`. */
export function clip({ pen, area }) {
  pen.save();
  pen.beginPath();
  pen.rect(area.x, area.y, area.width, area.height);
  pen.clip();
}
