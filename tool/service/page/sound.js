// Samples, as the server takes them.

const PIECE = 30;     // seconds
const RATE = 16_000;  // Hz; the engine hears up to 4 kHz

/** Samples from -1 to 1 as 16-bit integers, which are little-endian wherever browsers run. */
export function toPcm(samples) {
  return Int16Array.from(samples, (sample) =>
    Math.round(Math.max(-1, Math.min(1, sample)) * 32767));
}

/** How the server is told of such samples. */
export function formatOf(rate) {
  return { rate: Math.round(rate), channels: 1, format: "s16le" };
}

/**
 * The middle of a sound file that is too long to be sent, decoded by the browser:
 * {samples, rate, from}, `from` in seconds. Throws when the browser can't read it.
 */
export async function middleOf(file) {
  const context = new OfflineAudioContext(1, 1, RATE);
  const sound = await context.decodeAudioData(await file.arrayBuffer());
  const from = Math.max(0, (sound.duration - PIECE) / 2);
  const first = Math.round(from * sound.sampleRate);
  const length = Math.min(PIECE * sound.sampleRate, sound.length - first);
  const samples = new Float32Array(length);
  for (let channel = 0; channel < sound.numberOfChannels; ++channel) {
    const row = sound.getChannelData(channel);
    for (let i = 0; i < length; ++i) samples[i] += row[first + i] / sound.numberOfChannels;
  }
  return { samples: toPcm(samples), rate: sound.sampleRate, from };
}
