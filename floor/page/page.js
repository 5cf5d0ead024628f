// Shows in words what each slot does.

const slots = new Map();
const connection = document.getElementById("connection");
const list = document.getElementById("slots");

function describe(slot) {
    const run = slot.run;
    const doing = run ? `${run.label}: ${run.verdict ?? run.phase}` : slot.trouble;
    return `${slot.slot} ${slot.state} ${doing}`;
}

function show(slot) {
    if (!slots.has(slot.slot)) {
        slots.set(slot.slot, list.appendChild(document.createElement("li")));
    }
    slots.get(slot.slot).textContent = describe(slot);
}

const events = new EventSource("/api/events");
events.addEventListener("open", () => { connection.textContent = "Connected"; });
events.addEventListener("error", () => { connection.textContent = "The floor does not answer"; });
events.addEventListener("state", (event) => JSON.parse(event.data).slots.forEach(show));
events.addEventListener("slot", (event) => show(JSON.parse(event.data)));
