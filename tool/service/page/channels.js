// Shows the channels on air and how the server is, as long as somebody looks.

import { Problem, ask, health } from "./question.js";
import { count, counted, named, span } from "./words.js";

const PERIOD = 4_000;  // ms
const QUICKLY = { patience: 10_000 };
const FRESH = 10;      // seconds without an analysis before a channel looks quiet

const element = (id) => document.getElementById(id);
const rows = new Map();   // by channel
const heard = new Map();  // by channel: when something was last heard on it here, and what
let references = null;
let channelCount = null;
let timer = 0;
let onLocked = () => {};

/** Remembers on which channel a recording was heard. */
export function noteHeard(channels, what) {
  if (channels?.recognised) heard.set(channels.candidates[0].id, { at: Date.now(), what });
}

function rowFor(id) {
  if (rows.has(id)) return rows.get(id);
  const row = document.createElement("li");
  for (const name of ["channel-name", "note facts", "note heard"]) {
    const line = document.createElement("p");
    line.className = name;
    row.append(line);
  }
  rows.set(id, row);
  return row;
}

function fill(row, channel) {
  const [name, facts, last] = row.children;
  if (name.textContent !== channel.name) name.replaceChildren(named(channel.name));
  const lag = channel.lag >= 1 ? `, ${span(channel.lag)} behind` : "";
  facts.textContent = `${channel.id} · ${counted(channel.attributes, "attribute")} · ` +
    `updated ${span(channel.seconds_since)} ago${lag}`;
  row.classList.toggle("fresh", channel.seconds_since < FRESH);
  const memory = heard.get(channel.id);
  last.hidden = !memory;
  if (memory) {
    const ago = span((Date.now() - memory.at) / 1000);
    last.replaceChildren(`Heard ${ago} ago: `, named(memory.what));
  }
}

function showChannels(channels) {
  const shown = new Set(channels.map((channel) => channel.id));
  for (const id of rows.keys()) if (!shown.has(id)) rows.delete(id);
  const list = channels.map((channel) => rowFor(channel.id));
  channels.forEach((channel, at) => fill(list[at], channel));
  const same = list.length === element("channels").children.length &&
    list.every((row, at) => element("channels").children[at] === row);
  if (!same) element("channels").replaceChildren(...list);
  channelCount = channels.length;
  element("air-note").textContent = channels.length ? ""
    : "No channel is on air. “audiomatch listen” puts one on air.";
}

function showStock() {
  element("stock").textContent = [
    references === null ? "" : counted(references, "reference"),
    channelCount === null ? "" : `${count(channelCount)} on air`,
  ].filter(Boolean).join(" · ");
}

function showBanner(text) {
  element("banner").hidden = !text;
  if (element("banner").textContent !== text) element("banner").textContent = text;
}

async function lookAtServer() {
  const { status } = await health(QUICKLY);
  showBanner(status === "ok" ? "" : "The store can’t be reached. Answers may be incomplete.");
}

async function lookAtChannels() {
  showChannels((await ask("/v1/channels", QUICKLY)).channels);
}

async function lookAtReferences() {
  references ??= (await ask("/v1/references", QUICKLY)).references.length;
}

function showUnreachable() {
  // Another one may come back, with other references.
  forgetReferences();
  showBanner("The server can’t be reached. This page keeps trying.");
}

function showNoChannels(problem) {
  channelCount = null;
  element("channels").replaceChildren();
  if (problem.status === 401) onLocked();
  element("air-note").textContent =
    problem.status === 401 ? "The server shows this only to those who have its token."
      : "What is on air isn’t known right now.";
}

function forgetReferences() {
  references = null;
}

/** Looks at something, and ends with its trouble where there is any. */
async function tryTo(look, showTrouble) {
  try {
    await look();
  } catch (problem) {
    if (!(problem instanceof Problem)) throw problem;
    showTrouble(problem);
  }
}

async function look() {
  await Promise.all([tryTo(lookAtServer, showUnreachable),
    tryTo(lookAtChannels, showNoChannels), tryTo(lookAtReferences, forgetReferences)]);
  showStock();
}

/** Looks now, and then every few seconds unless the page is hidden. */
export async function keepLooking() {
  clearTimeout(timer);
  if (document.hidden) return;
  await look();
  clearTimeout(timer);
  timer = setTimeout(keepLooking, PERIOD);
}

/** Starts; `locked` is called when the server asks for a token. */
export function start(locked) {
  onLocked = locked;
  document.addEventListener("visibilitychange", keepLooking);
  keepLooking();
}
