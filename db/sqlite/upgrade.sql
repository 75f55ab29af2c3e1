-- What a database made by a build of schema version 1 lacks; schema.sql has all of it for a
-- new database. Run inside the upgrade's transaction.

-- Who saved and who cancelled each entry, and when.
CREATE TABLE IF NOT EXISTS paPayAccLinkHistory (
    CompanyID INTEGER NOT NULL,
    TransID   INTEGER NOT NULL,
    EventTime DATE NOT NULL,
    UserID    INTEGER,
    Action    TEXT COLLATE NOCASE NOT NULL
);
CREATE INDEX IF NOT EXISTS ixPayAccLinkHistory ON paPayAccLinkHistory (CompanyID, TransID);

-- The month-end checks: sources by company and date, and a source's entries from the index.
CREATE INDEX IF NOT EXISTS ixPayrollCompanyDate ON pMonthlyPayRollProcessing (mppCompanyID, mppProcessedDate);
CREATE INDEX IF NOT EXISTS ixPaymentCompanyDate ON pPaymentHeader (phCompanyID, phDate);
DROP INDEX IF EXISTS ixPayAccLinkDetailsRef;
CREATE INDEX ixPayAccLinkDetailsRef ON paPayAccLinkDetails (CompanyID, RefTransID, TransID);
