-- The ledger in an SQLite file. Times are texts in UTC ("2026-11-21T23:28:00.123Z"), MAC addresses
-- the numbers of their 48 bits.

-- name: ledger_lock
SELECT id, schema_number, entries, head, witness FROM ledger;

-- name: has_ledger
SELECT count(*) FROM sqlite_schema WHERE type = 'table' AND name = 'ledger';

-- name: schema_objects
SELECT type, name, sql FROM sqlite_schema
WHERE name NOT LIKE 'sqlite\_%' ESCAPE '\' ORDER BY type, name;

-- name: schema_1
CREATE TABLE ledger (
    one INTEGER PRIMARY KEY CHECK (one = 1), -- the only row
    id TEXT NOT NULL,                        -- drawn at random when it was made
    schema_number INTEGER NOT NULL,
    entries INTEGER NOT NULL,                -- of the journal
    head TEXT NOT NULL,                      -- the last one's hash
    witness TEXT                             -- where its copy is kept; NULL: there is none
) STRICT;

-- Every change, chained to the one before by its hash.
CREATE TABLE journal (
    number INTEGER PRIMARY KEY,
    at TEXT NOT NULL,
    topic TEXT NOT NULL CHECK (topic IN ('ledger', 'pool', 'product', 'unit')),
    subject TEXT NOT NULL,
    kind TEXT NOT NULL,
    content TEXT NOT NULL,
    previous TEXT NOT NULL,
    hash TEXT NOT NULL
) STRICT;
CREATE INDEX journal_subject ON journal (topic, subject, number);

-- Numbers to give out. Those below next are given out, or were passed over.
CREATE TABLE pool (
    name TEXT PRIMARY KEY,
    kind TEXT NOT NULL CHECK (kind IN ('mac', 'serial')),
    first INTEGER NOT NULL,
    last INTEGER NOT NULL,
    count INTEGER NOT NULL CHECK (count >= 1),
    align INTEGER NOT NULL CHECK (align >= 1),
    pattern TEXT NOT NULL,
    next INTEGER NOT NULL,
    issued INTEGER NOT NULL CHECK (issued >= 0),
    open INTEGER NOT NULL CHECK (open IN (0, 1)),
    entry INTEGER NOT NULL REFERENCES journal (number),
    CHECK (first >= 0 AND last >= first AND next >= first),
    CHECK (kind = 'serial' OR last < 281474976710656)
) STRICT;

CREATE TABLE product (
    name TEXT PRIMARY KEY,
    mac_source TEXT NOT NULL,    -- a pool's name, 'scanned', 'scanned:' and a pool's name, or 'none'
    serial_source TEXT NOT NULL, -- the same
    mac_count INTEGER NOT NULL CHECK (mac_count >= 0),
    entry INTEGER NOT NULL REFERENCES journal (number)
) STRICT;

-- Identities. Their id is the number of the entry that made them.
CREATE TABLE unit (
    id INTEGER PRIMARY KEY REFERENCES journal (number),
    label TEXT NOT NULL UNIQUE,
    product TEXT NOT NULL REFERENCES product (name),
    serial TEXT UNIQUE,
    mac_first INTEGER,
    mac_last INTEGER,
    state TEXT NOT NULL CHECK (
        state IN ('reserved', 'writing', 'stored', 'verified', 'failed', 'in doubt', 'void')),
    mac_pool TEXT REFERENCES pool (name),    -- that issued the addresses
    serial_pool TEXT REFERENCES pool (name), -- that issued the serial number
    reserved_at TEXT NOT NULL,
    changed_at TEXT NOT NULL,
    void_reason TEXT,
    void_by TEXT,
    entry INTEGER NOT NULL REFERENCES journal (number),
    CHECK ((mac_first IS NULL) = (mac_last IS NULL)),
    CHECK (mac_first >= 0 AND mac_last >= mac_first AND mac_last < 281474976710656),
    CHECK (state <> 'void' OR coalesce(length(void_reason) * length(void_by), 0) > 0)
) STRICT;
CREATE UNIQUE INDEX unit_mac_first ON unit (mac_first);
CREATE INDEX unit_mac_pool ON unit (mac_pool, reserved_at);
CREATE INDEX unit_serial_pool ON unit (serial_pool, reserved_at);

-- Each time that an identity was written to a switch. Their id is the number of the entry that began
-- them.
CREATE TABLE attempt (
    id INTEGER PRIMARY KEY REFERENCES journal (number),
    unit INTEGER NOT NULL REFERENCES unit (id),
    number INTEGER NOT NULL,
    station TEXT NOT NULL,
    slot TEXT NOT NULL,
    operator TEXT NOT NULL,
    product_file TEXT NOT NULL,
    product_sha256 TEXT NOT NULL,
    program_version TEXT NOT NULL,
    started_at TEXT NOT NULL,
    stored_at TEXT,
    ended_at TEXT,
    outcome TEXT CHECK (outcome IN ('stored', 'verified', 'failed', 'in doubt')),
    reason TEXT NOT NULL,
    sent TEXT NOT NULL,
    read_back TEXT NOT NULL,
    transcript TEXT NOT NULL,
    entry INTEGER NOT NULL REFERENCES journal (number),
    UNIQUE (unit, number),
    CHECK ((ended_at IS NULL) = (outcome IS NULL))
) STRICT;

CREATE TRIGGER pool_no_overlap BEFORE INSERT ON pool WHEN NEW.kind = 'mac'
    AND EXISTS (SELECT 1 FROM pool WHERE kind = 'mac' AND first <= NEW.last AND last >= NEW.first)
BEGIN
    SELECT RAISE(ABORT, 'MAC ranges of pools do not overlap');
END;
CREATE TRIGGER pool_range_stays
BEFORE UPDATE OF name, kind, first, last, count, align, pattern ON pool
BEGIN
    SELECT RAISE(ABORT, 'a pool''s range stays as it is');
END;
CREATE TRIGGER pool_never_goes_back BEFORE UPDATE ON pool
WHEN NEW.next < OLD.next OR NEW.issued < OLD.issued OR NEW.open > OLD.open
BEGIN
    SELECT RAISE(ABORT, 'a pool never goes back');
END;
CREATE TRIGGER pool_stays BEFORE DELETE ON pool
BEGIN
    SELECT RAISE(ABORT, 'pools are not removed');
END;

-- Ranges that do not overlap end in the order in which they begin: one look at the nearest is enough.
CREATE TRIGGER unit_no_overlap BEFORE INSERT ON unit WHEN NEW.mac_first <= (
    SELECT mac_last FROM unit WHERE mac_first <= NEW.mac_last ORDER BY mac_first DESC LIMIT 1)
BEGIN
    SELECT RAISE(ABORT, 'MAC ranges of units do not overlap');
END;
CREATE TRIGGER unit_identity_stays
BEFORE UPDATE OF id, label, product, serial, mac_first, mac_last, mac_pool, serial_pool, reserved_at
ON unit
BEGIN
    SELECT RAISE(ABORT, 'an identity stays as it is');
END;
CREATE TRIGGER unit_void_stays BEFORE UPDATE ON unit WHEN OLD.state = 'void'
BEGIN
    SELECT RAISE(ABORT, 'a void identity stays void');
END;
CREATE TRIGGER unit_stays BEFORE DELETE ON unit
BEGIN
    SELECT RAISE(ABORT, 'identities are not removed');
END;

CREATE TRIGGER attempt_ended_stays BEFORE UPDATE ON attempt WHEN OLD.ended_at IS NOT NULL
BEGIN
    SELECT RAISE(ABORT, 'an attempt that has ended stays as it is');
END;
CREATE TRIGGER attempt_stays BEFORE DELETE ON attempt
BEGIN
    SELECT RAISE(ABORT, 'attempts are not removed');
END;

CREATE TRIGGER product_stays BEFORE DELETE ON product
BEGIN
    SELECT RAISE(ABORT, 'products are not removed');
END;

CREATE TRIGGER journal_no_change BEFORE UPDATE ON journal
BEGIN
    SELECT RAISE(ABORT, 'the journal is not changed');
END;
CREATE TRIGGER journal_stays BEFORE DELETE ON journal
BEGIN
    SELECT RAISE(ABORT, 'the journal is not changed');
END;

CREATE TRIGGER ledger_never_goes_back BEFORE UPDATE ON ledger
WHEN NEW.entries < OLD.entries OR NEW.id <> OLD.id
BEGIN
    SELECT RAISE(ABORT, 'a ledger never goes back');
END;
CREATE TRIGGER ledger_stays BEFORE DELETE ON ledger
BEGIN
    SELECT RAISE(ABORT, 'a ledger is not removed');
END;

-- INSERT OR REPLACE removes rows without a word to the triggers of DELETE.
CREATE TRIGGER pool_not_replaced BEFORE INSERT ON pool
WHEN EXISTS (SELECT 1 FROM pool WHERE name = NEW.name)
BEGIN
    SELECT RAISE(ABORT, 'a pool''s range stays as it is');
END;
CREATE TRIGGER unit_not_replaced BEFORE INSERT ON unit
WHEN EXISTS (SELECT 1 FROM unit WHERE id = NEW.id OR label = NEW.label OR serial = NEW.serial)
BEGIN
    SELECT RAISE(ABORT, 'labels and serial numbers are unique, and an identity stays as it is');
END;
CREATE TRIGGER attempt_not_replaced BEFORE INSERT ON attempt
WHEN EXISTS (SELECT 1 FROM attempt WHERE id = NEW.id OR (unit = NEW.unit AND number = NEW.number))
BEGIN
    SELECT RAISE(ABORT, 'an attempt that has ended stays as it is');
END;
CREATE TRIGGER journal_not_replaced BEFORE INSERT ON journal
WHEN EXISTS (SELECT 1 FROM journal WHERE number = NEW.number)
BEGIN
    SELECT RAISE(ABORT, 'the journal is not changed');
END;
CREATE TRIGGER ledger_not_replaced BEFORE INSERT ON ledger WHEN EXISTS (SELECT 1 FROM ledger)
BEGIN
    SELECT RAISE(ABORT, 'a ledger never goes back');
END;

-- Each label that was asked to be printed. Their id is the number of the entry that asked.
-- name: schema_2
CREATE TABLE print (
    id INTEGER PRIMARY KEY REFERENCES journal (number),
    unit INTEGER NOT NULL REFERENCES unit (id),
    number INTEGER NOT NULL,
    station TEXT NOT NULL, -- whose printer it is for
    operator TEXT NOT NULL,
    content TEXT NOT NULL, -- what the printer is sent
    asked_at TEXT NOT NULL,
    ended_at TEXT,
    state TEXT NOT NULL CHECK (state IN ('waiting', 'printed', 'failed')),
    reason TEXT NOT NULL,
    entry INTEGER NOT NULL REFERENCES journal (number),
    UNIQUE (unit, number),
    CHECK ((ended_at IS NULL) = (state = 'waiting'))
) STRICT;
CREATE INDEX attempt_slot ON attempt (station, slot, id);
CREATE INDEX attempt_open ON attempt (station) WHERE ended_at IS NULL;
CREATE INDEX print_waiting ON print (station, id) WHERE state = 'waiting';
CREATE TRIGGER print_ended_stays BEFORE UPDATE ON print WHEN OLD.ended_at IS NOT NULL
BEGIN
    SELECT RAISE(ABORT, 'a print that has ended stays as it is');
END;
CREATE TRIGGER print_stays BEFORE DELETE ON print
BEGIN
    SELECT RAISE(ABORT, 'prints are not removed');
END;
