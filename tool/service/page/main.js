// Brings a recording, by file or microphone, to the server, and its answer onto the page.

import { showAnswer, showBusy, showProblem, showProgress, showStopped } from "./answer.js";
import { keepLooking, noteHeard, start } from "./channels.js";
import { listen } from "./listening.js";
import { isAllowed, wordsOf as wordsOfMicrophone } from "./microphone.js";
import { Problem, hasToken, keepToken, recognise, wordsOf } from "./question.js";
import { formatOf, middleOf } from "./sound.js";
import { clock } from "./words.js";

const MICROPHONE = "microphone";
const element = (id) => document.getElementById(id);
let asking = new AbortController();  // the latest question
let again = null;                    // what to do when there is a token

/** Ends the question under way; the signal of the next one. */
function begin() {
  asking.abort();
  asking = new AbortController();
  return asking.signal;
}

/** Shows what a body is; it may have to be asked once more. */
function show(answer, body, format, what, about = {}) {
  const askAgain = () => question(body, format, what, { ...about, waits: true });
  showAnswer(answer, what, askAgain, about.remark);
  noteHeard(answer.channels, what);
  keepLooking();
  reveal();
}

/** On a small screen the answer may be below what is seen. */
function reveal() {
  const calm = matchMedia("(prefers-reduced-motion: reduce)").matches;
  element("verdict").parentElement.scrollIntoView(
    { block: "nearest", behavior: calm ? "auto" : "smooth" });
}

/** Says what went wrong, and offers what may help; `retry` does the whole once more. */
function fail(error, what, retry, action = { text: "Try again", run: retry }) {
  reveal();
  if (error instanceof DOMException) return showProblem(wordsOfMicrophone(error), what);
  if (!(error instanceof Problem)) {
    showProblem(["This page failed", "Load it again, and ask once more."], what);
    throw error;
  }
  if (error.status === 401) {
    again = retry;
    askToken(hasToken() ? "That token isn’t the right one." : "");
    element("token").focus();
    return showProblem(wordsOf(error), what);
  }
  const helps = error.status === 0 || error.status >= 500 || action.run !== retry;
  showProblem(wordsOf(error), what, helps ? action : undefined);
}

/**
 * Asks what a body is.
 * @param about  {remark, waits, action}: one more line for the answer, whether that waits for the
 *               whole store, and what to offer for a body that is too long
 */
async function question(body, format, what, about = {}) {
  const signal = begin();
  if (about.waits) showBusy("Waiting for the store …", what, "This takes half a minute at most.");
  else showBusy("Asking …", what);
  try {
    const answer = await recognise(body, format, signal, about.waits);
    if (!signal.aborted) show(answer, body, format, what, about);
  } catch (error) {
    if (signal.aborted) return;
    const retry = () => question(body, format, what, about);
    fail(error, what, retry, error.status === 413 ? about.action : undefined);
  }
}

function askFile(file) {
  const action = { text: "Ask about its middle", run: () => askMiddle(file) };
  return question(file, {}, file.name, { action });
}

/** Asks for a piece of a file that is too long. */
async function askMiddle(file) {
  const signal = begin();
  showBusy("Cutting …", file.name);
  let piece;
  try {
    piece = await middleOf(file);
  } catch {
    if (signal.aborted) return;
    showProblem(["The browser can’t cut this", "Cut a piece of it with another program."],
      file.name);
    return;
  }
  if (signal.aborted) return;
  const remark = `Only 30 seconds of it were sent, from ${clock(piece.from)} on.`;
  question(piece.samples, formatOf(piece.rate), file.name, { remark });
}

function showListening(isListening, hint = "with the microphone") {
  element("listen").toggleAttribute("data-on", isListening);
  element("listen-text").textContent = isListening ? "Stop listening" : "Listen";
  element("listen-hint").textContent = hint;
  if (!isListening) element("loudness").style.width = "0";
}

async function askMicrophone() {
  const signal = begin();
  showListening(true, "waiting for the microphone …");
  showProgress(MICROPHONE);
  try {
    await listen(signal, {
      onStart: () => !signal.aborted && showListening(true, "the microphone is on"),
      onBlock: (loudness) => {
        if (!signal.aborted) element("loudness").style.width = `${100 * loudness}%`;
      },
      onAnswer: (answer, isLast, body, format) => {
        if (isLast) return show(answer, body, format, MICROPHONE);
        element("listen-hint").textContent = `${Math.round(answer.seconds)} s heard`;
        showProgress(MICROPHONE, answer);
      },
    });
  } catch (error) {
    if (!signal.aborted) fail(error, MICROPHONE, askMicrophone);
  } finally {
    if (!signal.aborted) showListening(false);
  }
}

function stopListening() {
  begin();
  showListening(false);
  showStopped(MICROPHONE);
}

function askToken(note) {
  element("token-form").hidden = false;
  if (element("token-note").textContent !== note) element("token-note").textContent = note;
}

function takeToken(event) {
  event.preventDefault();
  keepToken(element("token").value.trim());
  element("token").value = "";
  element("token-form").hidden = true;
  keepLooking();
  again?.();
  again = null;
}

/** Files may be dropped anywhere. */
function takeDrops() {
  let depth = 0;  // of the elements that a file was dragged into
  const curtain = (isShown) => { element("curtain").hidden = !isShown; };
  const isFile = (event) => event.dataTransfer?.types.includes("Files");
  addEventListener("dragenter", (event) => {
    if (isFile(event)) curtain(++depth > 0);
  });
  addEventListener("dragleave", (event) => {
    if (isFile(event)) curtain(--depth > 0);
  });
  addEventListener("dragover", (event) => {
    if (isFile(event)) event.preventDefault();
  });
  addEventListener("drop", (event) => {
    depth = 0;
    curtain(false);
    if (!isFile(event)) return;
    event.preventDefault();
    take(event.dataTransfer.files[0]);
  });
}

function take(file) {
  if (!file) return;
  showListening(false);
  askFile(file);
}

element("choose").addEventListener("click", () => element("file").click());
element("file").addEventListener("change", ({ target }) => {
  take(target.files[0]);
  target.value = "";
});
element("listen").addEventListener("click", () => {
  if (element("listen").hasAttribute("data-on")) stopListening();
  else askMicrophone();
});
element("token-form").addEventListener("submit", takeToken);
takeDrops();
if (!isAllowed()) element("listen-hint").textContent = "needs https, or localhost";
start(() => askToken(hasToken() ? "That token isn’t the right one." : ""));
