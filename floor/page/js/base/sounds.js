// What is heard: a short tone for what was taken, a low one for what was not, and the two verdicts.

import { onHappening, store } from './store.js';

// Pitches in hertz, one after the other, and the length of each in seconds.
const TUNES = {
    taken: { pitches: [1320], each: 0.09 },
    twice: { pitches: [1320, 1320], each: 0.05 },
    refused: { pitches: [196, 196, 196], each: 0.16 },
    pass: { pitches: [784, 988, 1319], each: 0.12 },
    fail: { pitches: [392, 294, 196], each: 0.24 },
};

let context = null;

function play(name) {
    // Before a first key the browser would keep all tones, and play them at once after it.
    if (!store.settings.sound || navigator.userActivation?.hasBeenActive === false) {
        return;
    }
    context ??= new AudioContext();
    context.resume();
    const { pitches, each } = TUNES[name];
    pitches.forEach((pitch, at) => tone(pitch, context.currentTime + at * each * 1.25, each));
}

function tone(pitch, from, seconds) {
    const source = context.createOscillator();
    const level = context.createGain();
    source.frequency.value = pitch;
    source.type = pitch < 400 ? 'square' : 'triangle';
    level.gain.setValueAtTime(0.0001, from);
    level.gain.exponentialRampToValueAtTime(0.3, from + 0.01);
    level.gain.setValueAtTime(0.3, from + seconds - 0.02);
    level.gain.exponentialRampToValueAtTime(0.0001, from + seconds);
    source.connect(level).connect(context.destination);
    source.start(from);
    source.stop(from + seconds);
}

export function startSounds() {
    onHappening('scan', play);
    onHappening('verdict', (slot) => play(slot.run.verdict === 'PASS' ? 'pass' : 'fail'));
}
