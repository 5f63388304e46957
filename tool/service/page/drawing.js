// Draws the engine's spectrogram and peaks of a recording, and the hits that agree: across the
// spectrogram, and below it by where in the reference each hit is.

import {
  AXIS, TITLE, clip, colour, dot, empty, label, prepare, stepFor, timeAxis,
} from "./plot.js";
import { clock, count, counted, span } from "./words.js";

const figure = document.getElementById("figure");
const spectrogram = document.getElementById("spectrogram");
const hits = document.getElementById("hits");
let latest = [null, false, 0];

const primaries = (text) => {
  const [red, green, blue] = text.match(/[0-9a-f]{2}/gi).map((part) => parseInt(part, 16));
  return [red, green, blue];
};

/** 256 colours from the panel's to the deepest, by way of a cooler one. */
function palette() {
  const stops = ["--panel", "--middle", "--depth"].map((name) => primaries(colour(name)));
  return Array.from({ length: 256 }, (_, level) => {
    // The lowest decibels are the noise of any recording.
    const place = 2 * Math.max(0, (level / 255 - 0.3) / 0.7) ** 1.5;
    const below = Math.min(Math.floor(place), 1);
    const part = place - below;
    return stops[below].map((value, at) => value + part * (stops[below + 1][at] - value));
  });
}

/** The spectrogram, a pixel for each column and bin, low frequencies at the bottom. */
function bitmap({ columns, bins, levels }) {
  const bytes = Uint8Array.from(atob(levels), (character) => character.charCodeAt(0));
  const canvas = document.createElement("canvas");
  canvas.width = columns;
  canvas.height = bins;
  const pen = canvas.getContext("2d");
  const image = pen.createImageData(columns, bins);
  const colours = palette();
  for (let column = 0; column < columns; ++column) {
    for (let bin = 0; bin < bins; ++bin) {
      const pixel = 4 * ((bins - 1 - bin) * columns + column);
      image.data.set(colours[bytes[column * bins + bin]], pixel);
      image.data[pixel + 3] = 255;
    }
  }
  pen.putImageData(image, 0, 0);
  return canvas;
}

/** The landmarks that agree: from anchor to target. */
function drawLandmarks(pen, agreeing, x, y) {
  pen.strokeStyle = pen.fillStyle = colour("--accent");
  pen.lineWidth = 1;
  pen.globalAlpha = Math.min(0.6, Math.max(0.12, 60 / agreeing.length));
  for (const [frame, bin, target, targetBin] of agreeing) {
    pen.beginPath();
    pen.moveTo(x(frame), y(bin));
    pen.lineTo(x(target), y(targetBin));
    pen.stroke();
  }
  pen.globalAlpha = 1;
  for (const [frame, bin] of agreeing) dot(pen, x(frame), y(bin), 1.6);
}

function drawSpectrogram(drawing, recognised, seconds) {
  const plot = prepare(spectrogram, { bottom: drawing.hits ? 4 : AXIS });
  const { pen, area } = plot;
  if (!drawing.hits) timeAxis(plot, seconds);
  const bins = drawing.spectrogram?.bins ?? 257;
  const x = (frame) => area.x + ((frame + 0.5) * drawing.frame_seconds * area.width) / seconds;
  const y = (bin) => area.y + area.height * (1 - (bin + 0.5) / bins);
  for (const kilohertz of [1, 2, 3]) {
    const bin = (1000 * kilohertz) / drawing.bin_hertz;
    label(pen, `${kilohertz} kHz`, area.x - 6, y(bin), "right");
  }
  clip(plot);
  if (drawing.spectrogram) {
    const { frames } = drawing.spectrogram;
    pen.drawImage(bitmap(drawing.spectrogram), area.x, area.y,
      (frames * drawing.frame_seconds * area.width) / seconds, area.height);
  }
  pen.fillStyle = colour("--paper");
  for (const [frame, bin] of drawing.peaks) dot(pen, x(frame), y(bin), 1.7);
  if (recognised && drawing.hits) drawLandmarks(pen, drawing.hits.agreeing, x, y);
  pen.restore();
}

/**
 * The stretch of the reference that the hits' plot shows: the recording's and its surroundings,
 * but nothing before `first`.
 */
function surroundings(times, seconds, first) {
  const middle = [...times].sort((a, b) => a - b)[Math.floor(times.length / 2)] ?? 0;
  return { from: Math.max(middle - 1.5 * seconds, first), length: 3 * seconds };
}

function drawHits(drawing, recognised, seconds) {
  const plot = prepare(hits, { top: TITLE, bottom: AXIS });
  const { pen, area } = plot;
  timeAxis(plot, seconds);
  const isChannel = drawing.hits.of === "channels";
  label(pen, isChannel ? "on the channel" : "in the reference", area.x, TITLE / 2, "left");
  const sign = isChannel ? -1 : 1;
  const agreeing = drawing.hits.agreeing.map((hit) => [hit[0], sign * hit[4]]);
  const { from, length } = surroundings(agreeing.map((hit) => hit[1]), seconds,
    isChannel ? -Infinity : 0);
  const x = (frame) => area.x + (frame * drawing.frame_seconds * area.width) / seconds;
  const y = (time) => area.y + area.height * (1 - (time - from) / length);
  const step = stepFor(length, area.height, 26);
  for (let time = Math.ceil(from / step) * step; time <= from + length; time += step) {
    if (y(time) < area.y + 6 || time * sign < 0) continue;
    label(pen, isChannel ? `−${span(-time)}` : clock(time), area.x - 6, y(time), "right");
  }
  clip(plot);
  pen.fillStyle = colour("--edge");
  for (const [frame, time] of drawing.hits.others) dot(pen, x(frame), y(sign * time), 1.2);
  if (recognised) pen.fillStyle = colour("--accent");
  for (const [frame, time] of agreeing) dot(pen, x(frame), y(time), 1.8);
  pen.restore();
}

function describe(drawing, recognised, seconds) {
  const agreeing = drawing?.hits && recognised ? drawing.hits.agreeing.length : 0;
  spectrogram.setAttribute("aria-label", !drawing?.spectrogram ? "No recording to be drawn"
    : `Spectrogram of ${seconds.toFixed(1)} seconds with ${counted(drawing.peaks.length, "peak")}` +
      (agreeing ? `; ${counted(agreeing, "hit")} of the best candidate agree` : ""));
  hits.setAttribute("aria-label", !drawing?.hits ? "No hits"
    : `Hits by time in the recording and ${drawing.hits.of === "channels" ? "on the channel" :
      "in the reference"}: ${count(agreeing)} on one rising line, ` +
      `${count(drawing.hits.others.length)} elsewhere`);
}

const redraw = ([drawing, recognised, seconds]) => {
  if (!drawing) return;
  drawSpectrogram(drawing, recognised, seconds);
  if (drawing.hits) drawHits(drawing, recognised, seconds);
};

/**
 * Draws, or hides what there is nothing to be drawn in.
 * @param drawing     of the server's answer; null for none
 * @param recognised  whether its hits are those of what was recognised
 * @param seconds     of the recording; 0 where that isn't known
 */
export function draw(drawing, recognised, seconds) {
  // Of silence there is nothing.
  if (drawing && !drawing.spectrogram && !drawing.hits) drawing = null;
  const last = (drawing?.hits?.agreeing ?? []).reduce((most, hit) => Math.max(most, hit[2]), 0);
  const length = seconds || (last + 1) * (drawing?.frame_seconds ?? 1);
  latest = [drawing, recognised, length];
  figure.hidden = !drawing;
  figure.dataset.hits = !drawing?.hits ? "none" : recognised ? "agreeing" : "by chance";
  if (drawing) hits.hidden = !drawing.hits;
  for (const canvas of [spectrogram, hits]) empty(canvas);
  redraw(latest);
  describe(drawing, recognised, length);
}

const again = () => redraw(latest);
new ResizeObserver(again).observe(spectrogram);
matchMedia("(prefers-color-scheme: dark)").addEventListener("change", again);
