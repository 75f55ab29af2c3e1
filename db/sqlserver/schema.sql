-- The suite's database on SQL Server: the link tables of this component and the payroll
-- suite's tables that it reads. Load into an empty database with sqlcmd, then
-- procedures.sql and, for the demo, demo.sql. Text compares without regard to case under
-- the server's default (case-insensitive) collation, which the suite relies on.
SET NOCOUNT ON;
GO

-- The component's statements spell names in more than one case (companyID, transid,
-- cm.symbol, cancelled): on a case-sensitive database they fail with "Invalid column name".
-- Refuse such a database before anything is created; NOEXEC keeps the batches that follow
-- from running even when sqlcmd goes on after an error.
DECLARE @database nvarchar(128) = DB_NAME();
DECLARE @collation nvarchar(128) = CAST(DATABASEPROPERTYEX(DB_NAME(), 'Collation') AS nvarchar(128));
IF @collation LIKE '%[_]CS[_]%' OR @collation LIKE '%[_]BIN%'
BEGIN
    RAISERROR (
        'The database %s uses the case-sensitive collation %s. The payroll accounts linking component needs a case-insensitive one: create the database with, for example, COLLATE Latin1_General_CI_AS, or change it with ALTER DATABASE ... COLLATE, and run this script again.',
        16, 1, @database, @collation
    );
    SET NOEXEC ON;
END
GO

-- ---------------------------------------------------------------- link entries

CREATE TABLE paPayAccLinkHeader (
    CompanyID     int NOT NULL,
    TransID       int NOT NULL,
    DepartmentID  int NULL,
    TransNo       nvarchar(30) NULL,
    TransDate     datetime NULL,
    TransType     nvarchar(1) NULL,
    Remarks       nvarchar(255) NULL,
    Cancelled     smallint NULL DEFAULT 0,
    -- The save does not name these two: a new entry must read as neither posted nor
    -- cancelled.
    cancelremarks nvarchar(255) NULL DEFAULT NULL,
    Posted        int NULL DEFAULT 0,
    CONSTRAINT pkPayAccLinkHeader PRIMARY KEY (CompanyID, TransID)
);
CREATE INDEX ixPayAccLinkHeaderDate ON paPayAccLinkHeader (CompanyID, TransDate);
CREATE INDEX ixPayAccLinkHeaderNo ON paPayAccLinkHeader (CompanyID, TransNo);

CREATE TABLE paPayAccLinkDetails (
    CompanyID       int NOT NULL,
    TransID         int NOT NULL,
    DetailID        int NOT NULL,
    DepartmentID    int NULL,
    RefTransID      int NULL,
    RefTransNo      nvarchar(30) NULL,
    RefTransType    nvarchar(50) NULL,
    RefTransDate    datetime NULL,
    EmpID           int NULL,
    EmpName         nvarchar(100) NULL,
    EmpNo           nvarchar(30) NULL,
    AccountID       int NULL,
    AccountDesc     nvarchar(100) NULL,
    TransCurrSymbol nvarchar(10) NULL,
    AccCurrSymbol   nvarchar(10) NULL,
    TransCurrID     int NULL,
    AccCurrID       int NULL,
    RefTransAmount  decimal(19, 4) NULL DEFAULT 0,
    AccountAmount   decimal(19, 4) NULL DEFAULT 0,
    DeptAmount      decimal(19, 4) NULL DEFAULT 0,
    CompAmount      decimal(19, 4) NULL DEFAULT 0,
    Credit          int NULL DEFAULT 0,
    CONSTRAINT pkPayAccLinkDetails PRIMARY KEY (CompanyID, TransID, DetailID)
);
-- The save, the month-end status and the audit look up which entries link a source.
CREATE INDEX ixPayAccLinkDetailsRef ON paPayAccLinkDetails (CompanyID, RefTransID, TransID);

CREATE TABLE paPayAccLinkPostingDetails (
    CompanyID      int NOT NULL,
    TransID        int NOT NULL,
    DetailID       int NOT NULL,
    DepartmentID   int NULL,
    AccountID      int NULL,
    AccountDesc    nvarchar(100) NULL,
    Description    nvarchar(255) NULL,
    AccCurrID      int NULL,
    AccCurrSymbol  nvarchar(10) NULL,
    RefCurrID      int NULL,
    RefCurrSymbol  nvarchar(10) NULL,
    DebitAmount    decimal(19, 4) NULL DEFAULT 0,
    CreditAmount   decimal(19, 4) NULL DEFAULT 0,
    RefTransAmount decimal(19, 4) NULL DEFAULT 0,
    DeptAmount     decimal(19, 4) NULL DEFAULT 0,
    CompAmount     decimal(19, 4) NULL DEFAULT 0,
    Editable       nvarchar(1) NULL DEFAULT 'N',
    CONSTRAINT pkPayAccLinkPostingDetails PRIMARY KEY (CompanyID, TransID, DetailID)
);

-- Who saved and who cancelled each entry, and when: the link tables keep no user.
CREATE TABLE paPayAccLinkHistory (
    CompanyID int NOT NULL,
    TransID   int NOT NULL,
    EventTime datetime NOT NULL,
    UserID    int NULL,
    Action    nchar(1) NOT NULL  -- N saved as new, E saved after editing, C cancelled
);
CREATE INDEX ixPayAccLinkHistory ON paPayAccLinkHistory (CompanyID, TransID);

-- Which of the numbered scripts of migrations/ the database has had, one row; a new
-- database starts at the newest. A change to this schema needs a numbered script for the
-- databases that exist (see ARCHITECTURE.md).
CREATE TABLE paPayAccLinkSchema (Version int NOT NULL);
INSERT INTO paPayAccLinkSchema (Version) VALUES (3);

-- ---------------------------------------------------------------- companies, currencies

CREATE TABLE pCompanyMaster (
    CompanyID   int NOT NULL PRIMARY KEY,
    CompanyName nvarchar(100) NULL,
    CurrencyID  int NULL
);

CREATE TABLE pCurrencyMaster (
    CompanyID     int NOT NULL,
    CurrencyID    int NOT NULL,
    Symbol        nvarchar(10) NULL,
    CurrencyName  nvarchar(50) NULL,
    DecimalPlaces int NULL DEFAULT 2,
    CONSTRAINT pkCurrencyMaster PRIMARY KEY (CompanyID, CurrencyID)
);

-- Rate: how many units of CurrencyID1 one unit of CurrencyID2 buys, so an amount in
-- CurrencyID2 times Rate is the amount in CurrencyID1. Each direction is its own row.
CREATE TABLE pExchangeRate (
    CompanyID   int NOT NULL,
    CurrencyID1 int NOT NULL,
    CurrencyID2 int NOT NULL,
    Rate        float NULL,
    CONSTRAINT pkExchangeRate PRIMARY KEY (CompanyID, CurrencyID1, CurrencyID2)
);

-- The logical table pDepartment lives under this physical name; linktable maps it.
CREATE TABLE pDepartmentMaster (
    CompanyID      int NOT NULL,
    DepartmentID   int NOT NULL,
    DepartmentName nvarchar(100) NULL,
    DepCurrencyID  int NULL,
    CONSTRAINT pkDepartmentMaster PRIMARY KEY (CompanyID, DepartmentID)
);

CREATE TABLE pemployee (
    eCompanyID    int NOT NULL,
    eEmployeeID   int NOT NULL,
    eEmpNo        nvarchar(30) NULL,
    eName         nvarchar(100) NULL,
    eDepartmentID int NULL,
    ecurrencyid   int NULL,
    eJoinDate     datetime NULL DEFAULT NULL,
    CONSTRAINT pkEmployee PRIMARY KEY (eCompanyID, eEmployeeID)
);
CREATE INDEX ixEmployeeCurrency ON pemployee (eCompanyID, ecurrencyid);

CREATE TABLE aAccountMaster (
    CompanyID   int NOT NULL,
    AccountID   int NOT NULL,
    AccountDesc nvarchar(100) NULL,
    CurrencyID  int NULL,
    AccountCode nvarchar(20) NULL DEFAULT '',
    CONSTRAINT pkAccountMaster PRIMARY KEY (CompanyID, AccountID)
);
CREATE INDEX ixAccountDesc ON aAccountMaster (CompanyID, AccountDesc);

-- ---------------------------------------------------------------- payroll and payments

-- Four rows per currency that employees are paid in: 'B' basic and 'A' allowances are
-- debited, 'D' deductions and 'N' net pay credited. No key on the component: the settings
-- check counts the rows and must be able to see a duplicate as an error.
CREATE TABLE paSalaryAccountsConfig (
    sacCompanyID   int NOT NULL,
    sacCurrencyID  int NOT NULL,
    sacComponent   nvarchar(1) NOT NULL,
    sacSalaryaccID int NULL,
    sacCredit      int NULL DEFAULT 0
);
CREATE INDEX ixSalaryAccountsConfig ON paSalaryAccountsConfig (sacCompanyID, sacCurrencyID);

CREATE TABLE pMonthlyPayRollProcessing (
    mppCompanyID     int NOT NULL,
    mppProcessID     int NOT NULL,
    mppProcessNo     nvarchar(30) NULL,
    mppProcessedDate datetime NULL,
    mppDepartmentID  int NULL,
    mppEmpID         int NULL,
    mppBasic         decimal(19, 4) NULL DEFAULT 0,
    mppAllowances    decimal(19, 4) NULL DEFAULT 0,
    mppDeductions    decimal(19, 4) NULL DEFAULT 0,
    mppNetPay        decimal(19, 4) NULL DEFAULT 0,
    mppPosted        int NULL DEFAULT 0,
    CONSTRAINT pkMonthlyPayRollProcessing PRIMARY KEY (mppCompanyID, mppProcessID)
);
CREATE INDEX ixPayrollDepartmentDate
    ON pMonthlyPayRollProcessing (mppCompanyID, mppDepartmentID, mppProcessedDate);
CREATE INDEX ixPayrollDate ON pMonthlyPayRollProcessing (mppProcessedDate);
-- The month-end status reads a company's runs and payments of a month.
CREATE INDEX ixPayrollCompanyDate ON pMonthlyPayRollProcessing (mppCompanyID, mppProcessedDate);

CREATE TABLE pPaymentHeader (
    phCompanyID    int NOT NULL,
    phPaymentID    int NOT NULL,
    phPaymentNo    nvarchar(30) NULL,
    phDate         datetime NULL,
    phDepartmentID int NULL,
    phEmployeeID   int NULL,
    phcurrencyid   int NULL,
    phType         nvarchar(1) NULL,
    phPosted       int NULL DEFAULT 0,
    phRemarks      nvarchar(255) NULL DEFAULT '',
    CONSTRAINT pkPaymentHeader PRIMARY KEY (phCompanyID, phPaymentID)
);
CREATE INDEX ixPaymentDepartmentType
    ON pPaymentHeader (phCompanyID, phDepartmentID, phType, phDate);
CREATE INDEX ixPaymentCompanyDate ON pPaymentHeader (phCompanyID, phDate);

CREATE TABLE pPaymentDetails (
    pdCompanyID   int NOT NULL,
    pdPaymentID   int NOT NULL,
    pdLineID      int NOT NULL,
    pdPaymentAmt  decimal(19, 4) NULL DEFAULT 0,
    pdDescription nvarchar(255) NULL DEFAULT '',
    CONSTRAINT pkPaymentDetails PRIMARY KEY (pdCompanyID, pdPaymentID, pdLineID)
);

CREATE TABLE pLoanApplication (
    laCompanyID      int NOT NULL,
    laLoanAppID      int NOT NULL,
    laAppType        nvarchar(1) NULL DEFAULT 'L',
    laEmployeeID     int NULL,
    laLoanID         int NULL,
    laSanctionAmount decimal(19, 4) NULL DEFAULT 0,
    CONSTRAINT pkLoanApplication PRIMARY KEY (laCompanyID, laLoanAppID)
);

CREATE TABLE pLoansIssue (
    liCompanyID      int NOT NULL,
    liLoanAppID      int NOT NULL,
    liCurrentBalance decimal(19, 4) NULL,
    CONSTRAINT pkLoansIssue PRIMARY KEY (liCompanyID, liLoanAppID)
);

-- Accounts that payments post to: one per payment kind (A R S E H O), debited, and 'CASH',
-- credited.
CREATE TABLE paPayAccLinkSettings (
    CompanyID    int NOT NULL,
    SettingCode  nvarchar(10) NOT NULL,
    SettingName  nvarchar(50) NULL,
    adcAccountID int NULL,
    CONSTRAINT pkPayAccLinkSettings PRIMARY KEY (CompanyID, SettingCode)
);

-- ---------------------------------------------------------------- users, captions, settings

CREATE TABLE pusers (
    userid   int NOT NULL PRIMARY KEY,
    username nvarchar(50) NULL,
    fullname nvarchar(100) NULL DEFAULT ''
);

CREATE TABLE puserrights (
    companyid      int NOT NULL,
    userid         int NOT NULL,
    interfaceid    int NOT NULL,
    FunctionRights nvarchar(20) NULL,
    CONSTRAINT pkUserRights PRIMARY KEY (companyid, userid, interfaceid)
);

CREATE TABLE pprefix (
    companyid   int NOT NULL,
    InterfaceID int NOT NULL,
    Prefix      nvarchar(20) NULL,
    CONSTRAINT pkPrefix PRIMARY KEY (companyid, InterfaceID)
);

CREATE TABLE psettings (
    companyid        int NOT NULL PRIMARY KEY,
    noofpreviousdays int NULL DEFAULT 0
);

CREATE TABLE ptables (
    tableid   int NOT NULL PRIMARY KEY,
    tablename nvarchar(100) NULL
);

CREATE TABLE ptablecolumns (
    tableid      int NOT NULL,
    columnid     int NOT NULL,
    columnheader nvarchar(100) NULL,
    columnname   nvarchar(100) NULL,
    CONSTRAINT pkTableColumns PRIMARY KEY (tableid, columnid)
);

-- Logical table name to physical name. No key: a name given twice is the installation's
-- mistake, and the last row read wins.
CREATE TABLE linktable (
    tablename     nvarchar(100) NOT NULL,
    linktablename nvarchar(100) NULL
);
GO

-- One row for every setting that every company needs, stored or not: a setting that was
-- never entered shows with no account, so the settings check sees it as missing.
CREATE VIEW vwPayAccLinkSettings AS
WITH companies (CompanyID) AS (
    SELECT CompanyID FROM pCompanyMaster
    UNION
    SELECT CompanyID FROM paPayAccLinkSettings
)
SELECT c.CompanyID AS CompanyID,
       k.SettingCode AS SettingCode,
       COALESCE(s.SettingName, k.SettingName) AS SettingName,
       s.adcAccountID AS adcAccountID,
       a.AccountDesc AS AccountDesc,
       a.CurrencyID AS CurrencyID
FROM companies c
CROSS JOIN (VALUES ('A', 'Salary Advances'), ('R', 'Reimbursements'), ('S', 'Savings'),
                   ('E', 'Leave Encashments'), ('H', 'Holded Salaries'), ('O', 'Others'),
                   ('CASH', 'Cash')) AS k (SettingCode, SettingName)
LEFT JOIN paPayAccLinkSettings s ON s.CompanyID = c.CompanyID AND s.SettingCode = k.SettingCode
LEFT JOIN aAccountMaster a ON a.CompanyID = c.CompanyID AND a.AccountID = s.adcAccountID;
GO

-- Every non-zero account line of every processed payroll, converted into the account's,
-- the department's and the company's currency. A rate applies only in the direction it is
-- stored; the same currency without a row converts at 1, any other pair without a row gives
-- no amount. Converted amounts are rounded to cents, and the net pay line takes the
-- difference of the rounded other three, so that a run's lines balance to the cent.
CREATE VIEW vwPayrollAccountLines AS
SELECT r.mppCompanyID, r.mppProcessID, r.mppProcessNo, r.mppProcessedDate, r.mppDepartmentID,
       r.mppEmpID, r.mppPosted, r.eEmpNo, r.eName,
       r.depCurrencyID, r.CompCurrID, r.DepSymbol, r.ComSymbol,
       r.AccountDesc, r.sacSalaryaccID, r.sacComponent, r.Type, r.Credit,
       r.netPay,
       CASE WHEN r.sacComponent = 'N'
            THEN ROUND(r.mppBasic * r.AccRate, 2) + ROUND(r.mppAllowances * r.AccRate, 2)
                 - ROUND(r.mppDeductions * r.AccRate, 2)
            ELSE ROUND(r.netPay * r.AccRate, 2) END AS AccExRate,
       CASE WHEN r.sacComponent = 'N'
            THEN ROUND(r.mppBasic * r.DepRate, 2) + ROUND(r.mppAllowances * r.DepRate, 2)
                 - ROUND(r.mppDeductions * r.DepRate, 2)
            ELSE ROUND(r.netPay * r.DepRate, 2) END AS DepExRate,
       CASE WHEN r.sacComponent = 'N'
            THEN ROUND(r.mppBasic * r.CompRate, 2) + ROUND(r.mppAllowances * r.CompRate, 2)
                 - ROUND(r.mppDeductions * r.CompRate, 2)
            ELSE ROUND(r.netPay * r.CompRate, 2) END AS CompExRate,
       r.ResSymbol, r.sacCurrencyID, r.AccSymbol, r.CurrencyID
FROM (
    SELECT m.mppCompanyID, m.mppProcessID, m.mppProcessNo, m.mppProcessedDate,
           m.mppDepartmentID, m.mppEmpID, m.mppPosted,
           CAST(m.mppBasic AS float) AS mppBasic, CAST(m.mppAllowances AS float) AS mppAllowances,
           CAST(m.mppDeductions AS float) AS mppDeductions, e.eEmpNo, e.eName,
           d.DepCurrencyID AS depCurrencyID, cm.CurrencyID AS CompCurrID,
           dc.Symbol AS DepSymbol, cc.Symbol AS ComSymbol,
           a.AccountDesc, s.sacSalaryaccID, s.sacComponent,
           CASE s.sacComponent WHEN 'B' THEN 'Basic Salary' WHEN 'A' THEN 'Allowances'
                WHEN 'D' THEN 'Deductions' WHEN 'N' THEN 'Net Pay' END AS Type,
           s.sacCredit AS Credit,
           CAST(CASE s.sacComponent WHEN 'B' THEN m.mppBasic WHEN 'A' THEN m.mppAllowances
                WHEN 'D' THEN m.mppDeductions WHEN 'N' THEN m.mppNetPay END AS float) AS netPay,
           rc.Symbol AS ResSymbol, s.sacCurrencyID, ac.Symbol AS AccSymbol, a.CurrencyID,
           CASE WHEN a.CurrencyID = s.sacCurrencyID THEN COALESCE(xa.Rate, 1) ELSE xa.Rate END
               AS AccRate,
           CASE WHEN d.DepCurrencyID = s.sacCurrencyID THEN COALESCE(xd.Rate, 1) ELSE xd.Rate END
               AS DepRate,
           CASE WHEN cm.CurrencyID = s.sacCurrencyID THEN COALESCE(xc.Rate, 1) ELSE xc.Rate END
               AS CompRate
    FROM pMonthlyPayRollProcessing m
    JOIN pemployee e ON e.eCompanyID = m.mppCompanyID AND e.eEmployeeID = m.mppEmpID
    JOIN paSalaryAccountsConfig s
        ON s.sacCompanyID = m.mppCompanyID AND s.sacCurrencyID = e.ecurrencyid
    LEFT JOIN aAccountMaster a ON a.CompanyID = m.mppCompanyID AND a.AccountID = s.sacSalaryaccID
    LEFT JOIN pDepartmentMaster d
        ON d.CompanyID = m.mppCompanyID AND d.DepartmentID = m.mppDepartmentID
    LEFT JOIN pCompanyMaster cm ON cm.CompanyID = m.mppCompanyID
    LEFT JOIN pCurrencyMaster rc ON rc.CompanyID = m.mppCompanyID AND rc.CurrencyID = s.sacCurrencyID
    LEFT JOIN pCurrencyMaster ac ON ac.CompanyID = m.mppCompanyID AND ac.CurrencyID = a.CurrencyID
    LEFT JOIN pCurrencyMaster dc ON dc.CompanyID = m.mppCompanyID AND dc.CurrencyID = d.DepCurrencyID
    LEFT JOIN pCurrencyMaster cc ON cc.CompanyID = m.mppCompanyID AND cc.CurrencyID = cm.CurrencyID
    LEFT JOIN pExchangeRate xa ON xa.CompanyID = m.mppCompanyID
        AND xa.CurrencyID1 = a.CurrencyID AND xa.CurrencyID2 = s.sacCurrencyID
    LEFT JOIN pExchangeRate xd ON xd.CompanyID = m.mppCompanyID
        AND xd.CurrencyID1 = d.DepCurrencyID AND xd.CurrencyID2 = s.sacCurrencyID
    LEFT JOIN pExchangeRate xc ON xc.CompanyID = m.mppCompanyID
        AND xc.CurrencyID1 = cm.CurrencyID AND xc.CurrencyID2 = s.sacCurrencyID
) r
WHERE r.netPay <> 0;
GO

-- Every non-zero payment line as two account lines: the debit to the account set for the
-- payment's kind (Credit 0) and the credit to the cash account (Credit 1).
CREATE VIEW vwPaymentAccountLines AS
SELECT r.phCompanyID, r.phPaymentID, r.phPaymentNo, r.phDate, r.phDepartmentID, r.phEmployeeID,
       r.phcurrencyid, r.phType, r.phPosted, r.pdLineID, r.eEmpNo, r.eName,
       r.depCurrencyID, r.CompCurrID, r.DepSymbol, r.ComSymbol,
       r.adcAccountID, r.AccountDesc, r.Credit, r.pdPaymentAmt,
       ROUND(r.pdPaymentAmt * r.AccRate, 2) AS AccExRate,
       ROUND(r.pdPaymentAmt * r.DepRate, 2) AS DepExRate,
       ROUND(r.pdPaymentAmt * r.CompRate, 2) AS CompExRate,
       r.ResSymbol, r.AccSymbol, r.CurrencyID
FROM (
    SELECT p.phCompanyID, p.phPaymentID, p.phPaymentNo, p.phDate, p.phDepartmentID,
           p.phEmployeeID, p.phcurrencyid, p.phType, p.phPosted, l.pdLineID,
           CAST(l.pdPaymentAmt AS float) AS pdPaymentAmt, e.eEmpNo, e.eName,
           d.DepCurrencyID AS depCurrencyID, cm.CurrencyID AS CompCurrID,
           dc.Symbol AS DepSymbol, cc.Symbol AS ComSymbol,
           s.adcAccountID, a.AccountDesc, k.Credit,
           rc.Symbol AS ResSymbol, ac.Symbol AS AccSymbol, a.CurrencyID,
           CASE WHEN a.CurrencyID = p.phcurrencyid THEN COALESCE(xa.Rate, 1) ELSE xa.Rate END
               AS AccRate,
           CASE WHEN d.DepCurrencyID = p.phcurrencyid THEN COALESCE(xd.Rate, 1) ELSE xd.Rate END
               AS DepRate,
           CASE WHEN cm.CurrencyID = p.phcurrencyid THEN COALESCE(xc.Rate, 1) ELSE xc.Rate END
               AS CompRate
    FROM pPaymentHeader p
    JOIN pPaymentDetails l ON l.pdCompanyID = p.phCompanyID AND l.pdPaymentID = p.phPaymentID
    CROSS JOIN (VALUES (0), (1)) AS k (Credit)
    LEFT JOIN pemployee e ON e.eCompanyID = p.phCompanyID AND e.eEmployeeID = p.phEmployeeID
    LEFT JOIN paPayAccLinkSettings s ON s.CompanyID = p.phCompanyID
        AND s.SettingCode = CASE k.Credit WHEN 0 THEN p.phType ELSE 'CASH' END
    LEFT JOIN aAccountMaster a ON a.CompanyID = p.phCompanyID AND a.AccountID = s.adcAccountID
    LEFT JOIN pDepartmentMaster d
        ON d.CompanyID = p.phCompanyID AND d.DepartmentID = p.phDepartmentID
    LEFT JOIN pCompanyMaster cm ON cm.CompanyID = p.phCompanyID
    LEFT JOIN pCurrencyMaster rc ON rc.CompanyID = p.phCompanyID AND rc.CurrencyID = p.phcurrencyid
    LEFT JOIN pCurrencyMaster ac ON ac.CompanyID = p.phCompanyID AND ac.CurrencyID = a.CurrencyID
    LEFT JOIN pCurrencyMaster dc ON dc.CompanyID = p.phCompanyID AND dc.CurrencyID = d.DepCurrencyID
    LEFT JOIN pCurrencyMaster cc ON cc.CompanyID = p.phCompanyID AND cc.CurrencyID = cm.CurrencyID
    LEFT JOIN pExchangeRate xa ON xa.CompanyID = p.phCompanyID
        AND xa.CurrencyID1 = a.CurrencyID AND xa.CurrencyID2 = p.phcurrencyid
    LEFT JOIN pExchangeRate xd ON xd.CompanyID = p.phCompanyID
        AND xd.CurrencyID1 = d.DepCurrencyID AND xd.CurrencyID2 = p.phcurrencyid
    LEFT JOIN pExchangeRate xc ON xc.CompanyID = p.phCompanyID
        AND xc.CurrencyID1 = cm.CurrencyID AND xc.CurrencyID2 = p.phcurrencyid
) r
WHERE r.pdPaymentAmt <> 0;
GO

-- Captions of the entry browser's grid, in grid column order. The grid shows exactly these
-- seven columns; the employee number caption belongs to the details layout (table 61), which
-- the browser must not pick up.
INSERT INTO ptables (tableid, tablename) VALUES
    (60, 'paPayAccLinkHeader'),
    (61, 'paPayAccLinkDetails');
INSERT INTO ptablecolumns (tableid, columnid, columnheader, columnname) VALUES
    (60, 1, 'Trans ID', 'TransID'),
    (60, 2, 'Trans No', 'TransNo'),
    (60, 3, 'Trans Date', 'TransDate'),
    (60, 4, 'Type', 'TransType'),
    (60, 5, 'Department', 'DepartmentName'),
    (60, 6, 'Cancelled', 'cancel'),
    (60, 7, 'Posted', 'Posted'),
    (61, 1, 'Trans No', 'RefTransNo'),
    (61, 2, 'Emp No', 'eEmpNo'),
    (61, 3, 'Employee', 'EmpName'),
    (61, 4, 'Account', 'AccountDesc');

-- Physical names of the suite's logical tables. Departments live in pDepartmentMaster.
-- pLoans is listed as the suite lists it, though this component never asks for it.
INSERT INTO linktable (tablename, linktablename) VALUES
    ('pusers', 'pusers'),
    ('ptables', 'ptables'),
    ('ptablecolumns', 'ptablecolumns'),
    ('puserrights', 'puserrights'),
    ('pEmployee', 'pemployee'),
    ('pLoans', 'pLoansIssue'),
    ('pprefix', 'pprefix'),
    ('pCurrencyMaster', 'pCurrencyMaster'),
    ('pSettings', 'psettings'),
    ('aAccountMaster', 'aAccountMaster'),
    ('paPayAccLinkPostingDetails', 'paPayAccLinkPostingDetails'),
    ('paPayAccLinkDetails', 'paPayAccLinkDetails'),
    ('paPayAccLinkHeader', 'paPayAccLinkHeader'),
    ('pDepartment', 'pDepartmentMaster'),
    ('pCompanyMaster', 'pCompanyMaster');
GO
