// Asks the server, and says in plain words what went wrong.

const TOKEN = "audiomatch-token";
const PATIENCE = 70_000;  // ms; the server itself gives up after a minute

/** What the server holds most of a recording. */
export const LARGEST = 32 * 1024 * 1024;

/** Why there is no answer: `status` as in HTTP, 0 when the server can't be reached. */
export class Problem extends Error {
  constructor(status, reason = "") {
    super(`${status} ${reason}`);
    this.status = status;
    this.reason = reason;
  }
}

export function keepToken(token) {
  sessionStorage.setItem(TOKEN, token);
}

export function hasToken() {
  return sessionStorage.getItem(TOKEN) !== null;
}

/**
 * Whatever has an address; the answer's object, whatever its status, and null where it has none.
 * Throws Problem when nothing comes.
 */
async function fetched(path, options = {}) {
  const token = sessionStorage.getItem(TOKEN);
  const headers = token ? { Authorization: `Bearer ${token}` } : {};
  const patience = AbortSignal.timeout(options.patience ?? PATIENCE);
  try {
    const response = await fetch(path, {
      ...options,
      headers,
      cache: "no-store",
      signal: options.signal ? either(options.signal, patience) : patience,
    });
    return { status: response.status, object: await response.json().catch(() => null) };
  } catch (error) {
    if (options.signal?.aborted) throw error;
    throw new Problem(0);
  }
}

/** A signal that is raised with the first of two. */
function either(first, second) {
  const both = new AbortController();
  for (const signal of [first, second]) {
    if (signal.aborted) both.abort();
    signal.addEventListener("abort", () => both.abort(), { once: true });
  }
  return both.signal;
}

/** Asks for something; throws Problem. */
export async function ask(path, options) {
  const { status, object } = await fetched(path, options);
  if (status !== 200) throw new Problem(status, object?.error ?? "");
  // It was cut off, or comes from somebody in between.
  if (!object) throw new Problem(0);
  return object;
}

/**
 * Asks what a recording is.
 * @param body  a sound file, a fingerprint, or raw samples that `format` describes
 * @param format  {rate, channels, format}, or nothing
 * @param waits   whether the answer waits for parts of the store that can't be reached
 */
export function recognise(body, format, signal, waits = false) {
  if ((body.size ?? body.byteLength) > LARGEST) return Promise.reject(new Problem(413));
  const query = new URLSearchParams({ ...format, drawing: 1, ...(waits ? { wait: 1 } : {}) });
  return ask(`/v1/recognise?${query}`, { method: "POST", body, signal });
}

/** How the server is; throws Problem when it can't be reached. */
export async function health(options) {
  return (await fetched("/healthz", options)).object ?? {};
}

/** What a problem comes to: a headline, and what to do next. */
export function wordsOf(problem) {
  const why = problem.reason ? `The server says “${problem.reason}”.` : "";
  switch (problem.status) {
    case 0:
    case 502:
    case 504:
      return ["The server can’t be reached",
        "It may have ended, or this device is offline. Try again in a moment."];
    case 400: return ["The server can’t make sense of this", why];
    case 401: return ["The server asks for a token", "Enter it above; the question then goes on."];
    case 413: return ["This is too long",
      why || "It may last a minute and have 32 MiB at most. Send a piece of it."];
    case 415: return ["This isn’t a recording that can be read", why];
    case 503: return ["The server can’t answer now", `${why} Ask again in a moment.`];
    default: return [`The server failed (${problem.status})`, why || "Its own messages say why."];
  }
}
