-- The statements that are the same words for both databases.

-- What several statements have in common stands here once: {unit} in a statement is the list of that name, up
-- to its empty line. The program takes the columns of a row in this order.

-- list: journal
number, at, topic, subject, kind, content, previous, hash

-- list: pool
name, kind, first, last, count, align, pattern, next, issued, open, entry

-- list: unit
id, label, product, serial, mac_first, mac_last, state, mac_pool, serial_pool, reserved_at, changed_at,
    void_reason, void_by, entry

-- list: attempt
a.id, a.unit, a.number, a.station, a.slot, a.operator, a.product_file, a.product_sha256, a.program_version,
    a.started_at, a.stored_at, a.ended_at, a.outcome, a.reason, a.sent, a.read_back, a.transcript, a.entry

-- Attempts in lists come without what was sent, read back and shown, which may be long.
-- list: attempt_listed
a.id, a.unit, a.number, a.station, a.slot, a.operator, a.product_file, a.product_sha256, a.program_version,
    a.started_at, a.stored_at, a.ended_at, a.outcome, a.reason, '', '', '', a.entry, u.label, u.product

-- list: attempts_wanted
u.product = coalesce(CAST($4 AS TEXT), u.product)
    AND coalesce(a.outcome, 'open') = coalesce(CAST($5 AS TEXT), a.outcome, 'open')
    AND a.slot = coalesce(CAST($6 AS TEXT), a.slot)
    AND a.operator = coalesce(CAST($7 AS TEXT), a.operator)
    AND a.started_at >= coalesce(CAST($8 AS TEXT), a.started_at)
    AND a.started_at < coalesce(CAST($9 AS TEXT), '9999')

-- list: print
p.id, p.unit, u.label, p.number, p.station, p.operator, p.content, p.asked_at, p.ended_at, p.state, p.reason,
    p.entry

-- name: ledger_row
SELECT id, schema_number, entries, head, witness FROM ledger;

-- name: ledger_add
INSERT INTO ledger (one, id, schema_number, entries, head) VALUES (1, $1, $2, 0, $3);

-- name: ledger_advance
UPDATE ledger SET entries = $1, head = $2;

-- name: ledger_set_witness
UPDATE ledger SET witness = $1;

-- name: journal_add
INSERT INTO journal ({journal})
VALUES ($1, $2, $3, $4, $5, $6, $7, $8);

-- name: journal_entry
SELECT {journal} FROM journal WHERE number = $1;

-- name: journal_after
SELECT {journal} FROM journal
WHERE number > $1 ORDER BY number;

-- name: journal_page
SELECT {journal} FROM journal
WHERE number > $1 ORDER BY number LIMIT 1000;

-- name: journal_about
SELECT {journal} FROM journal
WHERE topic = $1 AND subject = $2 ORDER BY number;

-- name: pool_by_name
SELECT {pool} FROM pool
WHERE name = $1;

-- name: pools
SELECT {pool} FROM pool
ORDER BY kind, first, name;

-- name: pool_overlapping
SELECT name FROM pool WHERE kind = 'mac' AND first <= $2 AND last >= $1 ORDER BY first LIMIT 1;

-- name: pool_of_address
SELECT {pool} FROM pool
WHERE kind = 'mac' AND first <= $2 AND last >= $1 ORDER BY first LIMIT 1;

-- name: pool_add
INSERT INTO pool ({pool})
VALUES ($1, $2, $3, $4, $5, $6, $7, $8, $9, $10, $11);

-- name: pool_advance
UPDATE pool SET next = $2, issued = issued + $3, entry = $4 WHERE name = $1;

-- name: pool_close
UPDATE pool SET open = 0, entry = $2 WHERE name = $1;

-- name: pool_use
SELECT count(*), min(reserved_at), coalesce(sum(CASE WHEN state = 'void' THEN 1 ELSE 0 END), 0)
FROM unit WHERE (mac_pool = $1 OR serial_pool = $1) AND reserved_at >= $2;

-- name: product_by_name
SELECT name, mac_source, serial_source, mac_count, entry FROM product WHERE name = $1;

-- name: products
SELECT name, mac_source, serial_source, mac_count, entry FROM product ORDER BY name;

-- name: product_add
INSERT INTO product (name, mac_source, serial_source, mac_count, entry) VALUES ($1, $2, $3, $4, $5);

-- name: unit_by_label
SELECT {unit} FROM unit WHERE label = $1;

-- name: unit_by_serial
SELECT {unit} FROM unit WHERE serial = $1;

-- name: unit_by_id
SELECT {unit} FROM unit WHERE id = $1;

-- The last unit that begins at that address or before it. Ranges do not overlap: where this one ends
-- before a range begins, all do.
-- name: unit_beginning_before
SELECT {unit} FROM unit WHERE mac_first <= $1 ORDER BY mac_first DESC LIMIT 1;

-- name: addresses_between
SELECT mac_first, mac_last FROM unit WHERE mac_first BETWEEN $1 AND $2 ORDER BY mac_first;

-- name: units_page
SELECT {unit} FROM unit
WHERE id > $1
    AND product = coalesce(CAST($2 AS TEXT), product)
    AND state = coalesce(CAST($3 AS TEXT), state)
    AND reserved_at >= coalesce(CAST($4 AS TEXT), reserved_at)
    AND reserved_at < coalesce(CAST($5 AS TEXT), '9999')
ORDER BY id LIMIT 1000;

-- name: unit_add
INSERT INTO unit ({unit})
VALUES ($1, $2, $3, $4, $5, $6, $7, $8, $9, $10, $11, $12, $13, $14);

-- name: unit_change
UPDATE unit SET state = $2, changed_at = $3, void_reason = $4, void_by = $5, entry = $6 WHERE id = $1;

-- name: attempt_add
INSERT INTO attempt (id, unit, number, station, slot, operator, product_file, product_sha256,
    program_version, started_at, stored_at, ended_at, outcome, reason, sent, read_back, transcript, entry)
VALUES ($1, $2, $3, $4, $5, $6, $7, $8, $9, $10, $11, $12, $13, $14, $15, $16, $17, $18);

-- name: attempt_change
UPDATE attempt SET stored_at = $2, ended_at = $3, outcome = $4, reason = $5, sent = $6, read_back = $7,
    transcript = $8, entry = $9
WHERE id = $1;

-- name: attempt_by_id
SELECT {attempt} FROM attempt a WHERE id = $1;

-- name: attempts_of_unit
SELECT {attempt} FROM attempt a WHERE unit = $1 ORDER BY number;

-- name: check_units
SELECT {unit}, j.content,
    (SELECT max(l.number) FROM journal l WHERE l.topic = 'unit' AND l.subject = u.label),
    (SELECT count(*) FROM journal m WHERE m.number = u.id AND m.topic = 'unit' AND m.subject = u.label
        AND m.kind IN ('reserve', 'import', 'burn'))
FROM unit u LEFT JOIN journal j ON j.number = u.entry AND j.topic = 'unit' AND j.subject = u.label
ORDER BY u.id;

-- name: check_attempts
SELECT {attempt}, j.content,
    (SELECT count(*) FROM journal b WHERE b.number = a.id AND b.topic = 'unit' AND b.subject = u.label
        AND b.kind = 'begin attempt')
FROM attempt a LEFT JOIN unit u ON u.id = a.unit
    LEFT JOIN journal j ON j.number = a.entry AND j.topic = 'unit' AND j.subject = u.label
ORDER BY a.id;

-- name: check_addresses
SELECT label, mac_first, mac_last, entry FROM unit WHERE mac_first IS NOT NULL ORDER BY mac_first;

-- name: check_labels
SELECT label, count(*), max(entry) FROM unit GROUP BY label HAVING count(*) > 1 ORDER BY max(entry);

-- name: check_serials
SELECT serial, count(*), max(entry) FROM unit WHERE serial IS NOT NULL
GROUP BY serial HAVING count(*) > 1 ORDER BY max(entry);

-- name: check_pool_issues
SELECT count(*), max(mac_last) FROM unit WHERE mac_pool = $1 OR serial_pool = $1;

-- name: count_units
SELECT count(*) FROM unit;

-- name: count_attempts
SELECT count(*), coalesce(sum(CASE WHEN ended_at IS NULL THEN 0 ELSE 1 END), 0) FROM attempt;

-- name: all_units
SELECT {unit} FROM unit ORDER BY id;

-- name: all_attempts
SELECT {attempt} FROM attempt a ORDER BY id;

-- Lists, a page at a time. Ids grow: of a list that is asked for in pieces, each looks at a part of them
-- only, so that none of them holds up those who write.
-- name: units_after
SELECT {unit} FROM unit
WHERE id > $1 AND id <= $2
    AND product = coalesce(CAST($3 AS TEXT), product)
    AND state = coalesce(CAST($4 AS TEXT), state)
    AND reserved_at >= coalesce(CAST($5 AS TEXT), reserved_at)
    AND reserved_at < coalesce(CAST($6 AS TEXT), '9999')
ORDER BY id LIMIT $7;

-- name: attempts_after
SELECT {attempt_listed} FROM attempt a JOIN unit u ON u.id = a.unit
WHERE a.id > $1 AND a.id <= $2 AND CAST($3 AS TEXT) IS NULL
    AND {attempts_wanted}
ORDER BY a.id LIMIT $10;

-- name: attempts_of_label_after
SELECT {attempt_listed} FROM attempt a JOIN unit u ON u.id = a.unit
WHERE a.id > $1 AND a.id <= $2 AND u.label = $3
    AND {attempts_wanted}
ORDER BY a.id LIMIT $10;

-- name: attempt_with_unit
SELECT {attempt}, u.label, u.product FROM attempt a JOIN unit u ON u.id = a.unit
WHERE a.id = $1;

-- name: attempts_open_at
SELECT {attempt_listed} FROM attempt a JOIN unit u ON u.id = a.unit
WHERE a.station = $1 AND a.ended_at IS NULL
ORDER BY a.id;

-- name: attempt_open_of_label
SELECT {attempt_listed} FROM attempt a JOIN unit u ON u.id = a.unit
WHERE u.label = $1 AND a.ended_at IS NULL
ORDER BY a.id DESC LIMIT 1;

-- name: attempt_last_in_slot
SELECT {attempt_listed} FROM attempt a JOIN unit u ON u.id = a.unit
WHERE a.station = $1 AND a.slot = $2
ORDER BY a.id DESC LIMIT 1;


-- name: ledger_set_schema
UPDATE ledger SET schema_number = $1;

-- name: print_add
INSERT INTO print (id, unit, number, station, operator, content, asked_at, ended_at, state, reason, entry)
VALUES ($1, $2, $3, $4, $5, $6, $7, $8, $9, $10, $11);

-- name: print_end
UPDATE print SET ended_at = $2, state = $3, reason = $4, entry = $5 WHERE id = $1;

-- name: print_by_id
SELECT {print} FROM print p JOIN unit u ON u.id = p.unit WHERE p.id = $1;

-- name: prints_of_unit
SELECT count(*) FROM print WHERE unit = $1;

-- name: prints_waiting
SELECT count(*) FROM print WHERE station = $1 AND state = 'waiting';

-- name: print_next
SELECT {print} FROM print p JOIN unit u ON u.id = p.unit
WHERE p.station = $1 AND p.state = 'waiting' ORDER BY p.id LIMIT 1;

-- The last ones first: $1 is the id behind which a page begins.
-- name: prints_page
SELECT {print} FROM print p JOIN unit u ON u.id = p.unit
WHERE p.id < $1
    AND u.label = coalesce(CAST($2 AS TEXT), u.label)
    AND p.state = coalesce(CAST($3 AS TEXT), p.state)
    AND p.asked_at >= coalesce(CAST($4 AS TEXT), p.asked_at)
    AND p.asked_at < coalesce(CAST($5 AS TEXT), '9999')
ORDER BY p.id DESC LIMIT $6;

-- name: check_prints
SELECT {print}, j.content
FROM print p JOIN unit u ON u.id = p.unit
LEFT JOIN journal j ON j.number = p.entry AND j.topic = 'unit'
ORDER BY p.id;

-- name: count_prints
SELECT count(*), coalesce(sum(CASE WHEN ended_at IS NULL THEN 0 ELSE 1 END), 0) FROM print;

-- name: all_prints
SELECT {print} FROM print p JOIN unit u ON u.id = p.unit ORDER BY p.id;
