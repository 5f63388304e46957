// Asks again and again what the microphone hears, until that is known.

import { Microphone } from "./microphone.js";
import { Problem, recognise } from "./question.js";
import { formatOf, toPcm } from "./sound.js";

const STEP = 2;      // seconds from question to question
const LONGEST = 12;  // seconds; hearing longer gains nothing on live channels
const STILL = 5_000; // ms without a sample: the microphone has gone

const soon = () => new Promise((resolve) => setTimeout(resolve, 50));

/** Waits until so much has been heard, or `signal` is raised. */
async function heard(microphone, seconds, signal) {
  let length = microphone.seconds;
  let grown = Date.now();
  while (microphone.seconds < seconds && !signal.aborted) {
    await soon();
    if (microphone.seconds > length) grown = Date.now();
    length = microphone.seconds;
    if (Date.now() - grown > STILL) {
      throw new DOMException("", "NotReadableError");
    }
  }
}

/**
 * Listens until something is recognised, for twelve seconds at most, or until `signal` is
 * raised.
 * @param tell  {onBlock(loudness), onStart(), onAnswer(answer, isLast, body, format)}, of which
 *              body and format are what was asked
 * Throws Problem, or what opening a microphone throws.
 */
export async function listen(signal, tell) {
  const microphone = new Microphone();
  microphone.onBlock = tell.onBlock;
  try {
    await microphone.open();
    if (!signal.aborted) tell.onStart();
    for (let due = STEP; !signal.aborted; due += STEP) {
      await heard(microphone, due, signal);
      if (signal.aborted) return;
      // As many steps as have been heard by now, where an answer took longer than one.
      due = Math.max(due, Math.floor(microphone.seconds / STEP) * STEP);
      const isLast = due >= LONGEST;
      const body = toPcm(microphone.samples());
      const format = formatOf(microphone.rate);
      const answer = await asked(body, format, isLast, signal);
      const isEnd = isLast || answer?.kind === "recognised";
      if (answer && !signal.aborted) tell.onAnswer(answer, isEnd, body, format);
      if (isEnd) return;
    }
  } finally {
    microphone.close();
  }
}

/** The answer to what was heard so far; nothing where a later one may come. */
async function asked(body, format, isLast, signal) {
  try {
    return await recognise(body, format, signal);
  } catch (error) {
    const isSoonOver = error instanceof Problem && error.status === 503;
    if (isSoonOver && !isLast) return undefined;
    throw error;
  }
}
