-- The table that records which of these numbered scripts a database has had, one row. The
-- program refuses a database whose number is lower than it needs and names the next script
-- to run, with sqlcmd as schema.sql is run. On SQL Server the table mapping and the
-- browser's captions came with schema.sql from the first release, so this script (the same
-- number as the embedded database's) adds only those rows that are missing.
SET NOCOUNT ON;
GO
IF OBJECT_ID(N'paPayAccLinkSchema', N'U') IS NULL
    CREATE TABLE paPayAccLinkSchema (Version int NOT NULL);
IF NOT EXISTS (SELECT 1 FROM paPayAccLinkSchema)
    INSERT INTO paPayAccLinkSchema (Version) VALUES (0);
GO
INSERT INTO linktable (tablename, linktablename)
SELECT v.tablename, v.linktablename
FROM (VALUES
    ('pusers', 'pusers'), ('ptables', 'ptables'), ('ptablecolumns', 'ptablecolumns'),
    ('puserrights', 'puserrights'), ('pEmployee', 'pemployee'), ('pLoans', 'pLoansIssue'),
    ('pprefix', 'pprefix'), ('pCurrencyMaster', 'pCurrencyMaster'), ('pSettings', 'psettings'),
    ('aAccountMaster', 'aAccountMaster'),
    ('paPayAccLinkPostingDetails', 'paPayAccLinkPostingDetails'),
    ('paPayAccLinkDetails', 'paPayAccLinkDetails'), ('paPayAccLinkHeader', 'paPayAccLinkHeader'),
    ('pDepartment', 'pDepartmentMaster'), ('pCompanyMaster', 'pCompanyMaster')
) v (tablename, linktablename)
WHERE NOT EXISTS (SELECT 1 FROM linktable l WHERE l.tablename = v.tablename);
UPDATE paPayAccLinkSchema SET Version = 1;
GO
