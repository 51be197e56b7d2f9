# SPDX-License-Identifier: Apache-2.0
-- Prints a line about every parameter that did not fare as the hand-written table ("expected") says.
DROP TABLE IF EXISTS expected;
CREATE TABLE expected(name TEXT, expectation TEXT, stored TEXT);
.mode ascii
.import expected expected
.mode list
.separator " " "\n"
SELECT coalesce(expected.name, outcome.name), 'should be', coalesce(expectation, 'absent'),
    'but is', coalesce(outcome, 'absent'), 'and stored as', outcome.stored
FROM expected FULL JOIN outcome ON outcome.name = expected.name
WHERE NOT coalesce(CASE expectation
    WHEN 'accepted' THEN outcome IN ('applied', 'unchanged') AND outcome.stored = expected.stored
    WHEN 'refused' THEN outcome = 'refused'
END, 0);
