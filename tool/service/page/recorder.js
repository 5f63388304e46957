// Runs where the browser makes sound: hands the samples of the microphone on, mixed to mono.

const AT_ONCE = 2048;  // samples

class Recorder extends AudioWorkletProcessor {
  #samples = new Float32Array(AT_ONCE);
  #filled = 0;

  process([channels]) {
    const length = channels[0]?.length ?? 0;
    for (let i = 0; i < length; ++i) {
      let sum = 0;
      for (const channel of channels) sum += channel[i];
      this.#samples[this.#filled++] = sum / channels.length;
      if (this.#filled === AT_ONCE) this.#handOn();
    }
    return true;
  }

  #handOn() {
    this.port.postMessage(this.#samples, [this.#samples.buffer]);
    this.#samples = new Float32Array(AT_ONCE);
    this.#filled = 0;
  }
}

registerProcessor("recorder", Recorder);
