-- Who saved and who cancelled each entry, and the indexes of the month-end checks. Builds
-- before the numbered scripts may have had this already, so it is made only where missing.

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

UPDATE paPayAccLinkSchema SET Version = 2;
