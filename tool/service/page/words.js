// Numbers as people read them.

/** A time within a recording: 1:07, or 1:02:07. */
export function clock(seconds) {
  const whole = Math.round(Math.abs(seconds));
  const two = (number) => String(number).padStart(2, "0");
  const hours = Math.floor(whole / 3600);
  const minutes = Math.floor(whole / 60) % 60;
  const text =
    hours ? `${hours}:${two(minutes)}:${two(whole % 60)}` : `${minutes}:${two(whole % 60)}`;
  return seconds < -0.5 ? `−${text}` : text;
}

/** How long something takes or is ago: 12 s, 3 min, 2 h. */
export function span(seconds) {
  const whole = Math.max(Math.round(seconds), 0);
  // No line ends between a number and its unit.
  if (whole < 100) return `${whole}\u00a0s`;
  return whole < 5400 ? `${Math.round(whole / 60)}\u00a0min`
    : `${Math.round(whole / 3600)}\u00a0h`;
}

/** A number with commas between thousands. */
export function count(number) {
  return number.toLocaleString("en");
}

/** "1 channel", "2 channels". */
export function counted(number, noun) {
  return `${count(number)} ${noun}${number === 1 ? "" : "s"}`;
}

/** Puts texts and names, as {name}, into an element. */
export function put(element, ...parts) {
  element.replaceChildren(
    ...parts.map((part) => (typeof part === "string" ? part : named(part.name))));
}

/** A name in its own direction, whatever it holds. */
export function named(name) {
  const element = document.createElement("bdi");
  element.textContent = name;
  return element;
}
