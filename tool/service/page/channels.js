// Shows the channels on air and how the server is, as long as somebody looks.

import { Problem, ask, health } from "./question.js";
import { count, counted, named, span } from "./words.js";

const PERIOD = 4_000;  // ms
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
    : "No channel is on air. “audiomatch listen” brings one.";
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

function troubleOf(state) {
  if (state.status === "ok") return "";
  const store = typeof state.store === "string" ? ` (${state.store})` : "";
  return `The server isn’t at its best: part of its store is away${store}. ` +
    "Answers may be incomplete.";
}

async function look() {
  try {
    showBanner(troubleOf(await health()));
    showChannels((await ask("/v1/channels")).channels);
    references ??= (await ask("/v1/references")).references.length;
  } catch (problem) {
    if (!(problem instanceof Problem)) throw problem;
    showTrouble(problem);
  }
  showStock();
}

function showTrouble(problem) {
  // Another one may come back, with other references.
  references = channelCount = null;
  element("channels").replaceChildren();
  if (problem.status === 0) showBanner("The server can’t be reached. This page keeps trying.");
  if (problem.status === 401) onLocked();
  element("air-note").textContent =
    problem.status === 401 ? "The server tells only those who have its token."
      : "What is on air isn’t known at this moment.";
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
