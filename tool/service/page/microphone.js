// Listens by the microphone.

/** Why the microphone isn't there, for people: a headline, and what to do next. */
export function wordsOf(error) {
  switch (error.name) {
    case "InsecureError":
      return ["The browser keeps the microphone from this page",
        "Browsers give it only to pages that come over https, or from localhost. Open this page " +
        "that way, or choose a file."];
    case "NotAllowedError":
      return ["The microphone was refused",
        "Allow it for this page in the browser’s settings, then press Listen again."];
    case "NotFoundError":
      return ["There is no microphone", "Plug one in, then press Listen again, or choose a file."];
    case "NotReadableError":
      return ["The microphone gives no sound", "Another program may be using it."];
    default:
      return ["The microphone can’t be used", error.message];
  }
}

/** True where a browser gives pages a microphone at all. */
export function isAllowed() {
  return window.isSecureContext && Boolean(navigator.mediaDevices?.getUserMedia);
}

/** What is heard from its opening to its closing. */
export class Microphone {
  #stream;
  #context;
  #blocks = [];
  #length = 0;

  /** Called with the loudness of each block, from 0 to 1. */
  onBlock = () => {};

  /** Asks for the microphone; throws an error that `wordsOf` knows. */
  async open() {
    if (!isAllowed()) throw new DOMException("", "InsecureError");
    // As it comes: what makes speech clear takes music apart.
    this.#stream = await navigator.mediaDevices.getUserMedia({
      audio: { echoCancellation: false, noiseSuppression: false, autoGainControl: false },
    });
    this.#context = new AudioContext();
    await this.#context.audioWorklet.addModule("/page/recorder.js");
    const recorder = new AudioWorkletNode(this.#context, "recorder", { numberOfOutputs: 0 });
    recorder.port.onmessage = ({ data }) => this.#take(data);
    this.#context.createMediaStreamSource(this.#stream).connect(recorder);
    await this.#context.resume();
  }

  get rate() {
    return this.#context.sampleRate;
  }

  get seconds() {
    return this.#context ? this.#length / this.rate : 0;
  }

  /** All samples so far. */
  samples() {
    const all = new Float32Array(this.#length);
    let at = 0;
    for (const block of this.#blocks) {
      all.set(block, at);
      at += block.length;
    }
    return all;
  }

  close() {
    for (const track of this.#stream?.getTracks() ?? []) track.stop();
    if (this.#context?.state !== "closed") this.#context?.close();
  }

  #take(block) {
    this.#blocks.push(block);
    this.#length += block.length;
    const power = block.reduce((sum, sample) => sum + sample * sample, 0) / block.length;
    this.onBlock(Math.max(0, 1 + Math.log10(power + 1e-12) / 6));  // of 60 dB
  }
}
