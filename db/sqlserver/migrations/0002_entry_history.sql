-- Who saved and who cancelled each entry, and the indexes of the month-end checks. A
-- database may have made the history table by hand from schema.sql already, so each
-- object is made only where missing.
SET NOCOUNT ON;
GO
IF OBJECT_ID(N'paPayAccLinkHistory', N'U') IS NULL
BEGIN
    CREATE TABLE paPayAccLinkHistory (
        CompanyID int NOT NULL,
        TransID   int NOT NULL,
        EventTime datetime NOT NULL,
        UserID    int NULL,
        Action    nchar(1) NOT NULL  -- N saved as new, E saved after editing, C cancelled
    );
    CREATE INDEX ixPayAccLinkHistory ON paPayAccLinkHistory (CompanyID, TransID);
END
IF INDEXPROPERTY(OBJECT_ID(N'pMonthlyPayRollProcessing'), N'ixPayrollCompanyDate', 'IndexID') IS NULL
    CREATE INDEX ixPayrollCompanyDate ON pMonthlyPayRollProcessing (mppCompanyID, mppProcessedDate);
IF INDEXPROPERTY(OBJECT_ID(N'pPaymentHeader'), N'ixPaymentCompanyDate', 'IndexID') IS NULL
    CREATE INDEX ixPaymentCompanyDate ON pPaymentHeader (phCompanyID, phDate);
-- The entry joins the source in the index, so the checks need not read the detail rows.
CREATE INDEX ixPayAccLinkDetailsRef ON paPayAccLinkDetails (CompanyID, RefTransID, TransID)
    WITH (DROP_EXISTING = ON);
UPDATE paPayAccLinkSchema SET Version = 2;
GO
