# SPDX-License-Identifier: Apache-2.0
-- What became of the parameters of a run: fills the table "outcome". Run in the demo's directory,
-- which holds the parameters of the file ("asked"), the daemon's log of the run ("run.log") and
-- copies of the store from before and after.
CREATE TABLE asked(n INTEGER, name TEXT, value TEXT, has_value INTEGER);
CREATE TABLE logged(line TEXT);
.mode ascii
.import asked asked
.separator "\037" "\n"
.import run.log logged
ATTACH 'before.db' AS before;
ATTACH 'after.db' AS after;

CREATE TABLE judged AS
SELECT n, name, asked.value AS asked,
    old.value AS old, new.value AS new,
    (SELECT line FROM logged
        WHERE instr(line, 'This parameter can not be set by provisioning "' || name || '"')
        LIMIT 1) AS lock_line,
    (SELECT line FROM logged
        WHERE instr(line, 'This parameter can not be changed because it is locked "' || name || '"')
        LIMIT 1) AS locked_line,
    (SELECT substr(line, instr(line, '(exception ')) FROM logged
        WHERE instr(line, 'Parameter preparation failed: "' || name || '"=')
        LIMIT 1) AS failed_line,
    (SELECT 1 FROM logged WHERE instr(line, 'None of parameters set: ') LIMIT 1) AS none_set,
    substr(name, 1, 9) = 'NET.VLAN.'
        AND (SELECT value FROM before.property WHERE key = 'NET.VLAN.Locked') = '1' AS vlan_locked,
    substr(name, 1, 26) = 'PhoneUI.Keys.FunctionKeys.'
        AND NOT substr(name, 27) GLOB '[0-9]*.*' AS no_index,
    (instr(name, 'Ringtone') OR instr(name, 'OneMelody')) AND NOT instr(name, 'Header') AS ringtone
FROM asked
LEFT JOIN before.property AS old ON old.key = name
LEFT JOIN after.property AS new ON new.key = name;

CREATE TABLE explained AS
SELECT n, name, asked, old, new,
    CASE
        WHEN lock_line IS NOT NULL THEN 'no file may set the lock of a function key'
        WHEN locked_line IS NOT NULL THEN 'the function key is locked'
        WHEN failed_line IS NOT NULL THEN 'malformed ' || failed_line
        WHEN vlan_locked THEN 'the VLAN settings are locked'
        WHEN no_index THEN 'no number of a function key'
        WHEN none_set THEN 'the store took none'
    END AS refusal,
    ringtone
FROM judged;

CREATE TABLE outcome AS
SELECT n, name, asked, coalesce(new, '') AS stored,
    CASE
        WHEN refusal IS NOT NULL AND new IS old THEN 'refused'
        WHEN refusal IS NOT NULL THEN 'CHANGED'
        WHEN new IS NULL THEN 'MISSING'
        WHEN new IS old THEN 'unchanged'
        ELSE 'applied'
    END AS outcome,
    coalesce(refusal,
        CASE
            WHEN new IS NULL THEN 'for no known reason'
            WHEN new IS NOT asked AND ringtone THEN 'ringtones are stored by file name'
            WHEN new IS NOT asked THEN 'another value is stored'
            ELSE ''
        END) AS why
FROM explained ORDER BY n;
