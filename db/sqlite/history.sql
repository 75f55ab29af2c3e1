-- Who saved and who cancelled each entry, and when: the link tables keep no user. Run on a
-- new schema and again on databases of older builds.
CREATE TABLE IF NOT EXISTS paPayAccLinkHistory (
    CompanyID INTEGER NOT NULL,
    TransID   INTEGER NOT NULL,
    EventTime DATE NOT NULL,
    UserID    INTEGER,
    Action    TEXT COLLATE NOCASE NOT NULL  -- N saved as new, E saved after editing, C cancelled
);
CREATE INDEX IF NOT EXISTS ixPayAccLinkHistory ON paPayAccLinkHistory (CompanyID, TransID);
