// Shows an answer: what it is, how sure that is, where in it we are, and what else was near.

import { draw } from "./drawing.js";
import { clock, count, counted, named, put, span } from "./words.js";

const element = (id) => document.getElementById(id);

const MOST = 5;   // further candidates
const LONG = 60;  // characters of a name that is set smaller

const KINDS = {
  recognised: "Recognised",
  unknown: "Not recognised",
  silence: "Silence",
  "no features": "No features",
};

// Parts of the store may hold what an answer doesn't name.
const isOpen = (answer) => Boolean(answer.partial) && answer.kind === "unknown";

/** How sure an answer is: from 0 to 1, and in words. */
function sureness(found) {
  const best = found?.candidates[0];
  if (!best) return [0, ""];
  // A few features agree by chance, hundreds don't; and another that has as many is a rival.
  const lead = found.name_discrimination ?? found.discrimination;
  const sure = (1 - 2 ** (-best.agreeing / 20)) * (0.5 + lead / 2);
  const agree = `${count(best.agreeing)} of ${counted(best.hits, "hit")} agree`;
  if (!found.recognised) return [Math.min(sure, 0.3), `Not sure enough: ${agree}`];
  const words = sure > 0.85 ? "Certain" : sure > 0.6 ? "Very likely" : "Likely";
  const rival = lead < 0.45 ? "; another one is nearly the same" : "";
  return [sure, `${words}: ${agree}${rival}`];
}

/** Where in a reference, or how long ago on a channel, a candidate was heard. */
function placeOf(candidate, seconds) {
  if ("seconds_ago" in candidate) return `on air, ${span(candidate.seconds_ago)} ago`;
  const from = Math.max(candidate.position, 0);
  const to = candidate.position + seconds;
  return seconds > 1 ? `${clock(from)} – ${clock(to)}` : clock(from);
}

/** The sentence below the name: its parts, names among them. */
function sentenceOf(answer, reference, channel) {
  const parts = [];
  if (reference) parts.push(`${placeOf(reference, answer.seconds)} of the reference`);
  if (!channel) return parts;
  const began = `it began ${span(channel.seconds_ago)} ago`;
  if (!reference) return [`On channel ${channel.id}, where ${began}`];
  return [...parts, "; on ", { name: channel.name }, ` (channel ${channel.id}) ${began}`];
}

/** What to say when nothing was recognised. */
function excuseOf(answer) {
  if (isOpen(answer)) {
    return ["Can’t say now", "A part of the store can’t be reached. Ask again in a moment."];
  }
  switch (answer.kind) {
    case "silence": return ["Only silence", "There is no sound in it at all."];
    case "no features":
      return ["Too short or too plain",
        "There is nothing in it to tell it by. A few seconds more may help."];
    default:
      return ["Not known here", answer.references
        ? "It matches none of the references, and none of the channels on air."
        : "It matches none of the channels on air, and the server has no references."];
  }
}

/** What to mind about an answer. */
function cautionOf(answer) {
  return [
    answer.partial && !isOpen(answer)
      ? "A part of the store can’t be reached; the answer may be incomplete." : "",
    answer.damaged ? `The recording is damaged (${answer.damaged}). The rest was used.` : "",
  ].filter(Boolean).join(" ");
}

function remarksOf(answer, remark) {
  const remarks = [remark];
  if (answer.features) {
    const found = answer.references ?? answer.channels;
    const { level = null, discrimination } = found ?? {};
    remarks.push(`${counted(answer.features, "feature")}` +
      (answer.seconds ? ` in ${answer.seconds.toFixed(1)} s` : "") +
      (level === null ? "" : `; level ${level}, discrimination ${discrimination.toFixed(2)}`));
  }
  return remarks.filter(Boolean);
}

function rowOf(candidate, seconds) {
  const row = document.createElement("tr");
  const cells = [named(candidate.name), placeOf(candidate, seconds), count(candidate.agreeing),
    count(candidate.hits)];
  cells.forEach((content, at) => {
    const cell = document.createElement(at === 0 ? "th" : "td");
    if (at === 0) {
      cell.scope = "row";
      // A long one is cut where it stands.
      cell.title = candidate.name;
    }
    if (at > 1) cell.className = at === 3 ? "number hit-count" : "number";
    cell.append(content);
    row.append(cell);
  });
  return row;
}

function showCandidates(answer, shown) {
  const all = [...(answer.references?.candidates ?? []), ...(answer.channels?.candidates ?? [])];
  const further = all.filter((candidate) => !shown.includes(candidate))
    .sort((a, b) => b.agreeing - a.agreeing).slice(0, MOST);
  element("further").hidden = further.length === 0;
  element("further-title").textContent = shown.length ? "Other candidates"
    : isOpen(answer) ? "The closest so far" : "The closest, by chance";
  element("candidates").replaceChildren(...further.map((each) => rowOf(each, answer.seconds)));
}

function showSureness(sure, words) {
  element("sureness").hidden = !words;
  element("meter").setAttribute("aria-valuenow", Math.round(100 * sure));
  element("meter").setAttribute("aria-valuetext", words);
  element("meter-bar").style.width = `${100 * sure}%`;
  element("sure").textContent = words;
}

function showRemarks(remarks) {
  element("remarks").replaceChildren(...remarks.map((text) => {
    const item = document.createElement("li");
    item.textContent = text;
    return item;
  }));
}

function head(kind, label, name, where, caution = "") {
  element("answer").dataset.kind = kind;
  // Nobody needs to hear more than the end.
  element("verdict").setAttribute("aria-busy", kind === "busy" || kind === "listening");
  put(element("kind"), ...label);
  element("name").replaceChildren(named(name));
  element("name").toggleAttribute("data-long", name.length > LONG);
  put(element("where"), ...where);
  element("caution").hidden = !caution;
  element("caution").textContent = caution;
  offer();
}

/** A button that offers to do something: {text, run}; none without. */
function offer(action) {
  element("action").hidden = !action;
  element("action").textContent = action?.text ?? "";
  element("action").onclick = action?.run ?? null;
}

/**
 * Shows an answer of the server's.
 * @param what    what was asked, for people: a file's name
 * @param again   asks the same once more, and waits for the whole store
 * @param remark  one more line below; may be empty
 */
export function showAnswer(answer, what, again, remark = "") {
  const best = (found) => (found?.recognised ? found.candidates[0] : undefined);
  const reference = best(answer.references);
  const channel = best(answer.channels);
  const kind = isOpen(answer) ? "No answer" : KINDS[answer.kind] ?? answer.kind;
  const label = [`${kind} · `, { name: what }];
  if (reference || channel) {
    head(answer.kind, label, (reference ?? channel).name,
      sentenceOf(answer, reference, channel), cautionOf(answer));
  } else {
    const [name, excuse] = excuseOf(answer);
    head(answer.kind, label, name, [excuse], cautionOf(answer));
    if (isOpen(answer)) offer({ text: "Ask again and wait", run: again });
  }
  const found = reference || !channel ? answer.references ?? answer.channels : answer.channels;
  showSureness(...(isOpen(answer) ? [0, ""] : sureness(found)));
  showCandidates(answer, [reference, channel].filter(Boolean));
  showRemarks(remarksOf(answer, remark));
  draw(answer.drawing, Boolean(reference || channel), answer.seconds);
}

/** Nothing is left of an answer. */
function clear(drawing = null, seconds = 0) {
  showSureness(0, "");
  showCandidates({}, []);
  showRemarks([]);
  draw(drawing, false, seconds);
}

/** Shows what is being heard, and the answer so far, in which nothing is recognised. */
export function showProgress(what, answer = undefined) {
  const seconds = Math.round(answer?.seconds ?? 0);
  head("listening", ["Listening … · ", { name: what }],
    seconds ? "Not recognised yet" : "Listening",
    [seconds ? `${span(seconds)} heard, of twelve at most.`
      : "The first answer takes two seconds."]);
  clear(answer?.drawing, answer?.seconds);
}

/** Shows that somebody had enough. */
export function showStopped(what) {
  head("none", ["Stopped · ", { name: what }], "Nothing recognised so far",
    ["Ask again whenever you like."]);
  clear();
}

/**
 * Says what is being done about what, in place of the answer before, whose drawing leaves its
 * room to the next.
 */
export function showBusy(doing, what, note = "") {
  const isDrawn = !element("figure").hidden;
  head("busy", [{ name: what }], doing, [note]);
  clear();
  element("figure").hidden = !isDrawn;
}

/**
 * Shows why there is no answer.
 * @param action  {text, run}: what a button offers to do about it; or nothing
 */
export function showProblem([headline, advice], what, action) {
  head("problem", ["No answer · ", { name: what }], headline, [advice]);
  clear();
  offer(action);
}
