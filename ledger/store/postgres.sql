-- The ledger in a schema "ledger" of a PostgreSQL database. Times are texts in UTC
-- ("2026-11-21T23:28:00.123Z"; cast them to timestamptz), MAC addresses the numbers of their 48 bits.
-- Texts are compared byte by byte, whatever the language of the database is.

-- name: begin_write
BEGIN ISOLATION LEVEL READ COMMITTED READ WRITE;

-- name: ledger_lock
SELECT id, schema_number, entries, head, witness FROM ledger FOR UPDATE;

-- name: has_ledger
SELECT count(*) FROM pg_catalog.pg_class c JOIN pg_catalog.pg_namespace n ON n.oid = c.relnamespace
WHERE n.nspname = 'ledger' AND c.relname = 'ledger' AND c.relkind = 'r';

-- What holds the rules: constraints as they are defined, triggers that are not switched off, and what
-- these do.
-- name: schema_objects
SELECT t.relname || '.' || c.conname || ' ' || pg_get_constraintdef(c.oid)
FROM pg_catalog.pg_constraint c JOIN pg_catalog.pg_class t ON t.oid = c.conrelid
JOIN pg_catalog.pg_namespace n ON n.oid = t.relnamespace
WHERE n.nspname = $1 AND c.convalidated
UNION ALL
SELECT t.relname || '.' || g.tgname || ' ' || pg_get_triggerdef(g.oid, true)
FROM pg_catalog.pg_trigger g JOIN pg_catalog.pg_class t ON t.oid = g.tgrelid
JOIN pg_catalog.pg_namespace n ON n.oid = t.relnamespace
WHERE n.nspname = $1 AND NOT g.tgisinternal AND g.tgenabled IN ('O', 'A')
UNION ALL
SELECT p.proname || '() ' || p.prosrc
FROM pg_catalog.pg_proc p JOIN pg_catalog.pg_namespace n ON n.oid = p.pronamespace
WHERE n.nspname = $1
ORDER BY 1;

-- name: schema_1
CREATE SCHEMA ledger;
SET search_path = ledger;

CREATE TABLE ledger (
    one int PRIMARY KEY CHECK (one = 1), -- the only row
    id text NOT NULL,                    -- drawn at random when it was made
    schema_number bigint NOT NULL,
    entries bigint NOT NULL,             -- of the journal
    head text NOT NULL,                  -- the last one's hash
    witness text                         -- where its copy is kept; NULL: there is none
);

-- Every change, chained to the one before by its hash.
CREATE TABLE journal (
    number bigint PRIMARY KEY,
    at text NOT NULL,
    topic text NOT NULL CHECK (topic IN ('ledger', 'pool', 'product', 'unit')),
    subject text COLLATE "C" NOT NULL,
    kind text NOT NULL,
    content text NOT NULL,
    previous text NOT NULL,
    hash text NOT NULL
);
CREATE INDEX journal_subject ON journal (topic, subject, number);

-- Numbers to give out. Those below next are given out, or were passed over.
CREATE TABLE pool (
    name text COLLATE "C" PRIMARY KEY,
    kind text COLLATE "C" NOT NULL CHECK (kind IN ('mac', 'serial')),
    first bigint NOT NULL,
    last bigint NOT NULL,
    count bigint NOT NULL CHECK (count >= 1),
    align bigint NOT NULL CHECK (align >= 1),
    pattern text NOT NULL,
    next bigint NOT NULL,
    issued bigint NOT NULL CHECK (issued >= 0),
    open int NOT NULL CHECK (open IN (0, 1)),
    entry bigint NOT NULL REFERENCES journal (number),
    CHECK (first >= 0 AND last >= first AND next >= first),
    CHECK (kind = 'serial' OR last < 281474976710656),
    CONSTRAINT pool_no_overlap EXCLUDE USING gist (int8range(first, last, '[]') WITH &&)
        WHERE (kind = 'mac')
);

CREATE TABLE product (
    name text COLLATE "C" PRIMARY KEY,
    mac_source text NOT NULL,    -- a pool's name, 'scanned', 'scanned:' and a pool's name, or 'none'
    serial_source text NOT NULL, -- the same
    mac_count bigint NOT NULL CHECK (mac_count >= 0),
    entry bigint NOT NULL REFERENCES journal (number)
);

-- Identities. Their id is the number of the entry that made them.
CREATE TABLE unit (
    id bigint PRIMARY KEY REFERENCES journal (number),
    label text COLLATE "C" NOT NULL UNIQUE,
    product text COLLATE "C" NOT NULL REFERENCES product (name),
    serial text COLLATE "C" UNIQUE,
    mac_first bigint,
    mac_last bigint,
    state text NOT NULL CHECK (
        state IN ('reserved', 'writing', 'stored', 'verified', 'failed', 'in doubt', 'void')),
    mac_pool text COLLATE "C" REFERENCES pool (name),    -- that issued the addresses
    serial_pool text COLLATE "C" REFERENCES pool (name), -- that issued the serial number
    reserved_at text COLLATE "C" NOT NULL,
    changed_at text COLLATE "C" NOT NULL,
    void_reason text,
    void_by text,
    entry bigint NOT NULL REFERENCES journal (number),
    CHECK ((mac_first IS NULL) = (mac_last IS NULL)),
    CHECK (mac_first >= 0 AND mac_last >= mac_first AND mac_last < 281474976710656),
    CHECK (state <> 'void' OR coalesce(length(void_reason) * length(void_by), 0) > 0),
    CONSTRAINT unit_no_overlap EXCLUDE USING gist (int8range(mac_first, mac_last, '[]') WITH &&)
        WHERE (mac_first IS NOT NULL)
);
CREATE UNIQUE INDEX unit_mac_first ON unit (mac_first);
CREATE INDEX unit_mac_pool ON unit (mac_pool, reserved_at);
CREATE INDEX unit_serial_pool ON unit (serial_pool, reserved_at);

-- Each time that an identity was written to a switch. Their id is the number of the entry that began
-- them.
CREATE TABLE attempt (
    id bigint PRIMARY KEY REFERENCES journal (number),
    unit bigint NOT NULL REFERENCES unit (id),
    number bigint NOT NULL,
    station text NOT NULL,
    slot text NOT NULL,
    operator text NOT NULL,
    product_file text NOT NULL,
    product_sha256 text NOT NULL,
    program_version text NOT NULL,
    started_at text NOT NULL,
    stored_at text,
    ended_at text,
    outcome text CHECK (outcome IN ('stored', 'verified', 'failed', 'in doubt')),
    reason text NOT NULL,
    sent text NOT NULL,
    read_back text NOT NULL,
    transcript text NOT NULL,
    entry bigint NOT NULL REFERENCES journal (number),
    UNIQUE (unit, number),
    CHECK ((ended_at IS NULL) = (outcome IS NULL))
);

CREATE FUNCTION refuse() RETURNS trigger LANGUAGE plpgsql AS $$
BEGIN
    RAISE EXCEPTION '%', TG_ARGV[0] USING ERRCODE = 'check_violation';
END
$$;

CREATE TRIGGER pool_range_stays
    BEFORE UPDATE OF name, kind, first, last, count, align, pattern ON pool
    FOR EACH ROW EXECUTE FUNCTION refuse('a pool''s range stays as it is');
CREATE TRIGGER pool_never_goes_back BEFORE UPDATE ON pool FOR EACH ROW
    WHEN (NEW.next < OLD.next OR NEW.issued < OLD.issued OR NEW.open > OLD.open)
    EXECUTE FUNCTION refuse('a pool never goes back');
CREATE TRIGGER pool_stays BEFORE DELETE ON pool
    FOR EACH ROW EXECUTE FUNCTION refuse('pools are not removed');

CREATE TRIGGER unit_identity_stays
    BEFORE UPDATE OF id, label, product, serial, mac_first, mac_last, mac_pool, serial_pool, reserved_at
    ON unit FOR EACH ROW EXECUTE FUNCTION refuse('an identity stays as it is');
CREATE TRIGGER unit_void_stays BEFORE UPDATE ON unit FOR EACH ROW WHEN (OLD.state = 'void')
    EXECUTE FUNCTION refuse('a void identity stays void');
CREATE TRIGGER unit_stays BEFORE DELETE ON unit
    FOR EACH ROW EXECUTE FUNCTION refuse('identities are not removed');

CREATE TRIGGER attempt_ended_stays BEFORE UPDATE ON attempt FOR EACH ROW
    WHEN (OLD.ended_at IS NOT NULL)
    EXECUTE FUNCTION refuse('an attempt that has ended stays as it is');
CREATE TRIGGER attempt_stays BEFORE DELETE ON attempt
    FOR EACH ROW EXECUTE FUNCTION refuse('attempts are not removed');

CREATE TRIGGER product_stays BEFORE DELETE ON product
    FOR EACH ROW EXECUTE FUNCTION refuse('products are not removed');

CREATE TRIGGER journal_no_change BEFORE UPDATE ON journal
    FOR EACH ROW EXECUTE FUNCTION refuse('the journal is not changed');
CREATE TRIGGER journal_stays BEFORE DELETE ON journal
    FOR EACH ROW EXECUTE FUNCTION refuse('the journal is not changed');

CREATE TRIGGER ledger_never_goes_back BEFORE UPDATE ON ledger FOR EACH ROW
    WHEN (NEW.entries < OLD.entries OR NEW.id <> OLD.id)
    EXECUTE FUNCTION refuse('a ledger never goes back');
CREATE TRIGGER ledger_stays BEFORE DELETE ON ledger
    FOR EACH ROW EXECUTE FUNCTION refuse('a ledger is not removed');

-- Triggers of rows see nothing of TRUNCATE.
CREATE TRIGGER pool_not_emptied BEFORE TRUNCATE ON pool
    EXECUTE FUNCTION refuse('pools are not removed');
CREATE TRIGGER unit_not_emptied BEFORE TRUNCATE ON unit
    EXECUTE FUNCTION refuse('identities are not removed');
CREATE TRIGGER attempt_not_emptied BEFORE TRUNCATE ON attempt
    EXECUTE FUNCTION refuse('attempts are not removed');
CREATE TRIGGER product_not_emptied BEFORE TRUNCATE ON product
    EXECUTE FUNCTION refuse('products are not removed');
CREATE TRIGGER journal_not_emptied BEFORE TRUNCATE ON journal
    EXECUTE FUNCTION refuse('the journal is not changed');
CREATE TRIGGER ledger_not_emptied BEFORE TRUNCATE ON ledger
    EXECUTE FUNCTION refuse('a ledger is not removed');

-- Each label that was asked to be printed. Their id is the number of the entry that asked.
-- name: schema_2
CREATE TABLE print (
    id bigint PRIMARY KEY REFERENCES journal (number),
    unit bigint NOT NULL REFERENCES unit (id),
    number bigint NOT NULL,
    station text COLLATE "C" NOT NULL, -- whose printer it is for
    operator text NOT NULL,
    content text NOT NULL,             -- what the printer is sent
    asked_at text COLLATE "C" NOT NULL,
    ended_at text,
    state text COLLATE "C" NOT NULL CHECK (state IN ('waiting', 'printed', 'failed')),
    reason text NOT NULL,
    entry bigint NOT NULL REFERENCES journal (number),
    UNIQUE (unit, number),
    CHECK ((ended_at IS NULL) = (state = 'waiting'))
);
CREATE INDEX attempt_slot ON attempt (station, slot, id);
CREATE INDEX attempt_open ON attempt (station) WHERE ended_at IS NULL;
CREATE INDEX print_waiting ON print (station, id) WHERE state = 'waiting';
CREATE TRIGGER print_ended_stays BEFORE UPDATE ON print FOR EACH ROW WHEN (OLD.ended_at IS NOT NULL)
    EXECUTE FUNCTION refuse('a print that has ended stays as it is');
CREATE TRIGGER print_stays BEFORE DELETE ON print
    FOR EACH ROW EXECUTE FUNCTION refuse('prints are not removed');
