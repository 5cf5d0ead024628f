// What stands in the interface as codes and numbers, in words.

const OUTCOMES = {
    __proto__: null,
    verified: 'Written and read back',
    stored: 'The switch says that it stored it, but it could not be read back',
    failed: 'Failed',
    other_identity: 'The switch holds another unit’s identity',
    not_reached: 'The switch did not come to a prompt',
    cancelled: 'Stopped',
    in_doubt: 'What the switch holds is not known',
};

/** "in_doubt" as "in doubt". */
export function plain(code) {
    return String(code ?? '').replaceAll('_', ' ');
}

export function outcomeWords(outcome) {
    return OUTCOMES[outcome] ?? plain(outcome);
}

// A run's end, with which the ledger begins the reason of its attempt.
const END = /^(?:verified|stored|failed|other_identity|not_reached|cancelled): /;

export function reasonWords({ reason }) {
    return String(reason ?? '').replace(END, '');
}

/** What became of an attempt. The ledger has one that somebody stopped among the failed ones. */
export function endOf({ outcome, reason }) {
    return outcome === 'failed' && reason?.startsWith('cancelled: ') ? 'stopped' : outcome;
}

/** "0:07", "12:03", "1:00:00" */
export function clock(seconds) {
    const whole = Math.max(0, Math.floor(seconds));
    const [hours, minutes, rest] = [Math.floor(whole / 3600), Math.floor(whole / 60) % 60, whole % 60];
    const two = (number) => String(number).padStart(2, '0');
    return hours > 0 ? `${hours}:${two(minutes)}:${two(rest)}` : `${minutes}:${two(rest)}`;
}

/** A time of the ledger on this PC's clock: "2026-11-21 23:28:00". */
export function localTime(text) {
    const when = new Date(text ?? '');
    if (Number.isNaN(when.getTime())) {
        return '–';
    }
    const two = (number) => String(number).padStart(2, '0');
    return `${when.getFullYear()}-${two(when.getMonth() + 1)}-${two(when.getDate())} `
        + `${two(when.getHours())}:${two(when.getMinutes())}:${two(when.getSeconds())}`;
}

export function count(number, one, many = `${one}s`) {
    return `${Number(number).toLocaleString('en')} ${number === 1 ? one : many}`;
}

export function addresses({ mac, mac_count: taken }) {
    if (!mac) {
        return '–';
    }
    return taken > 1 ? `${mac}, ${taken} addresses` : mac;
}
