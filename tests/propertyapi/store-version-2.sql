-- SPDX-License-Identifier: Apache-2.0
-- A store that the previous version of the client has made and written to.
PRAGMA foreign_keys=OFF;
BEGIN TRANSACTION;
CREATE TABLE property(
    key TEXT PRIMARY KEY, value TEXT NOT NULL, origin TEXT NOT NULL DEFAULT '');
INSERT INTO property VALUES('A','1','');
INSERT INTO property VALUES('State.B','2','');
CREATE TABLE property_change(
    sequence INTEGER PRIMARY KEY, key TEXT, value TEXT NOT NULL);
INSERT INTO property_change VALUES(1,'A','1');
INSERT INTO property_change VALUES(2,'State.B','2');
INSERT INTO property_change VALUES(3,'A','0');
INSERT INTO property_change VALUES(4,'A','1');
CREATE TABLE property_replace(
    unchanged INTEGER NOT NULL, sequence INTEGER NOT NULL);
CREATE TABLE property_meta(
    name TEXT PRIMARY KEY, value NOT NULL) WITHOUT ROWID;
INSERT INTO property_meta VALUES('boot','of version 2');
INSERT INTO property_meta VALUES('trimmed',0);
CREATE TRIGGER property_before_insert BEFORE INSERT ON property
WHEN EXISTS(SELECT 1 FROM property WHERE key = NEW.key)
    OR EXISTS(SELECT 1 FROM property_replace)
BEGIN
    DELETE FROM property_replace;
    INSERT INTO property_replace
        SELECT value IS NEW.value, (SELECT coalesce(max(sequence), 0) FROM property_change)
        FROM property WHERE key = NEW.key;
END;
CREATE TRIGGER property_insert AFTER INSERT ON property
BEGIN
    DELETE FROM property_change
        WHERE sequence > (SELECT sequence FROM property_replace) AND key IS NEW.key;
    INSERT INTO property_change SELECT max(coalesce((SELECT max(sequence) FROM property_change), 0), coalesce((SELECT value FROM property_meta WHERE name = 'trimmed'), 0)) + 1 + length(CAST(NEW.value AS BLOB)) / 1024, NEW.key, NEW.value WHERE typeof(NEW.key) = 'text' AND NOT coalesce((SELECT unchanged FROM property_replace), NEW.value = '');
    DELETE FROM property_replace;
END;
CREATE TRIGGER property_update AFTER UPDATE OF value ON property
WHEN NEW.key IS OLD.key AND NEW.value IS NOT OLD.value
BEGIN
    INSERT INTO property_change SELECT max(coalesce((SELECT max(sequence) FROM property_change), 0), coalesce((SELECT value FROM property_meta WHERE name = 'trimmed'), 0)) + 1 + length(CAST(NEW.value AS BLOB)) / 1024, NEW.key, NEW.value WHERE typeof(NEW.key) = 'text';
END;
CREATE TRIGGER property_before_rename BEFORE UPDATE OF key ON property
WHEN NEW.key IS NOT OLD.key
BEGIN
    DELETE FROM property_replace;
    INSERT INTO property_replace
        SELECT value IS NEW.value, (SELECT coalesce(max(sequence), 0) FROM property_change)
        FROM property WHERE key = NEW.key;
END;
CREATE TRIGGER property_rename AFTER UPDATE OF key ON property
WHEN NEW.key IS NOT OLD.key
BEGIN
    DELETE FROM property_change
        WHERE sequence > (SELECT sequence FROM property_replace) AND key IS NEW.key;
    INSERT INTO property_change SELECT max(coalesce((SELECT max(sequence) FROM property_change), 0), coalesce((SELECT value FROM property_meta WHERE name = 'trimmed'), 0)) + 1 + length(CAST('' AS BLOB)) / 1024, OLD.key, '' WHERE typeof(OLD.key) = 'text' AND OLD.value <> '';
    INSERT INTO property_change SELECT max(coalesce((SELECT max(sequence) FROM property_change), 0), coalesce((SELECT value FROM property_meta WHERE name = 'trimmed'), 0)) + 1 + length(CAST(NEW.value AS BLOB)) / 1024, NEW.key, NEW.value WHERE typeof(NEW.key) = 'text' AND NOT coalesce((SELECT unchanged FROM property_replace), NEW.value = '');
    DELETE FROM property_replace;
END;
CREATE TRIGGER property_delete AFTER DELETE ON property
WHEN OLD.value <> ''
BEGIN
    INSERT INTO property_change SELECT max(coalesce((SELECT max(sequence) FROM property_change), 0), coalesce((SELECT value FROM property_meta WHERE name = 'trimmed'), 0)) + 1 + length(CAST('' AS BLOB)) / 1024, OLD.key, '' WHERE typeof(OLD.key) = 'text';
END;
CREATE TRIGGER property_change_trim AFTER INSERT ON property_change
WHEN NEW.sequence % 1024 <= length(CAST(NEW.value AS BLOB)) / 1024
BEGIN
    UPDATE property_meta SET value = coalesce((SELECT max(sequence) FROM property_change WHERE sequence <= NEW.sequence - 65536), value) WHERE name = 'trimmed';
    DELETE FROM property_change WHERE sequence <= NEW.sequence - 65536;
END;
CREATE TRIGGER property_change_emptied AFTER DELETE ON property_change
WHEN NOT EXISTS(SELECT 1 FROM property_change) AND NOT EXISTS(SELECT 1 FROM property_replace)
BEGIN
    UPDATE property_meta SET value = max(value, OLD.sequence) WHERE name = 'trimmed';
END;
COMMIT;
PRAGMA user_version = 2;
PRAGMA journal_mode = WAL;
