-- The free texts hold at most what their SQL Server columns hold (nvarchar(255)). Triggers,
-- not CHECK constraints: SQLite adds a constraint only by copying the table, and the copy
-- would drop the columns the suite has added to it.
CREATE TRIGGER IF NOT EXISTS trPayAccLinkHeaderTextsNew BEFORE INSERT ON paPayAccLinkHeader
WHEN length(NEW.Remarks) > 255 OR length(NEW.cancelremarks) > 255
BEGIN SELECT RAISE(ABORT, 'An entry''s remarks hold at most 255 characters.'); END;
CREATE TRIGGER IF NOT EXISTS trPayAccLinkHeaderTexts BEFORE UPDATE OF Remarks, cancelremarks ON paPayAccLinkHeader
WHEN length(NEW.Remarks) > 255 OR length(NEW.cancelremarks) > 255
BEGIN SELECT RAISE(ABORT, 'An entry''s remarks hold at most 255 characters.'); END;
CREATE TRIGGER IF NOT EXISTS trPayAccLinkPostingTextsNew BEFORE INSERT ON paPayAccLinkPostingDetails
WHEN length(NEW.Description) > 255
BEGIN SELECT RAISE(ABORT, 'A posting line''s description holds at most 255 characters.'); END;
CREATE TRIGGER IF NOT EXISTS trPayAccLinkPostingTexts BEFORE UPDATE OF Description ON paPayAccLinkPostingDetails
WHEN length(NEW.Description) > 255
BEGIN SELECT RAISE(ABORT, 'A posting line''s description holds at most 255 characters.'); END;

UPDATE paPayAccLinkSchema SET Version = 3;
