// What a key types by its place on the keyboard. Scanners type as on an American keyboard, whatever layout
// the PC is set to: only the place tells what was in the code.

const PLAIN = {
    Space: ' ', Minus: '-_', Equal: '=+', BracketLeft: '[{', BracketRight: ']}', Backslash: '\\|',
    Semicolon: ';:', Quote: '\'"', Backquote: '`~', Comma: ',<', Period: '.>', Slash: '/?',
    NumpadAdd: '+', NumpadSubtract: '-', NumpadMultiply: '*', NumpadDivide: '/', NumpadDecimal: '.',
};
const SHIFTED_DIGITS = ')!@#$%^&*(';

/** The character of a key; empty for one that types none. */
export function characterOf({ code, shiftKey }) {
    if (/^Key[A-Z]$/.test(code)) {
        return shiftKey ? code[3] : code[3].toLowerCase();
    }
    if (/^Digit\d$/.test(code)) {
        return shiftKey ? SHIFTED_DIGITS[code[5]] : code[5];
    }
    if (/^Numpad\d$/.test(code)) {
        return code[6];
    }
    const pair = PLAIN[code] ?? '';
    return (shiftKey && pair[1]) || (pair[0] ?? '');
}

export function isEnd({ code }) {
    return code === 'Enter' || code === 'NumpadEnter' || code === 'Tab';
}

export function isModifier({ code }) {
    return /^(Shift|Control|Alt|Meta)(Left|Right)$|^CapsLock$/.test(code);
}
