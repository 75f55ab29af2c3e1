-- The embedded database: the link tables of this component and the payroll suite's tables
-- that it reads. Every text column compares without regard to case, as the suite's server
-- does; dates are ISO text ("YYYY-MM-DD") in columns declared DATE, which the backend reads
-- back as dates. Columns beyond those the statements name carry defaults, so that inserts
-- naming only the suite's own columns succeed. The free texts typed on the screens hold
-- at most what their SQL Server columns hold (nvarchar(255)), so a text too long for the
-- server is refused here as well.
--
-- This is the newest schema, for a new database; an existing one gets the same through the
-- numbered scripts of migrations/, so a change here needs one there (see ARCHITECTURE.md).

PRAGMA foreign_keys = OFF;

-- ---------------------------------------------------------------- link entries

CREATE TABLE paPayAccLinkHeader (
    CompanyID     INTEGER NOT NULL,
    TransID       INTEGER NOT NULL,
    DepartmentID  INTEGER,
    TransNo       TEXT COLLATE NOCASE,
    TransDate     DATE,
    TransType     TEXT COLLATE NOCASE,
    Remarks       TEXT COLLATE NOCASE,
    Cancelled     INTEGER DEFAULT 0,
    -- The save does not name these two: a new entry must read as neither posted nor
    -- cancelled.
    cancelremarks TEXT COLLATE NOCASE DEFAULT NULL,
    Posted        INTEGER DEFAULT 0,
    PRIMARY KEY (CompanyID, TransID)
);
-- The browser lists a company's entries from a cut-off date on.
CREATE INDEX ixPayAccLinkHeaderDate ON paPayAccLinkHeader (CompanyID, TransDate);
-- Numbering reads the highest number of the company's entries.
CREATE INDEX ixPayAccLinkHeaderNo ON paPayAccLinkHeader (CompanyID, TransNo);

CREATE TABLE paPayAccLinkDetails (
    CompanyID       INTEGER NOT NULL,
    TransID         INTEGER NOT NULL,
    DetailID        INTEGER NOT NULL,
    DepartmentID    INTEGER,
    RefTransID      INTEGER,
    RefTransNo      TEXT COLLATE NOCASE,
    RefTransType    TEXT COLLATE NOCASE,
    RefTransDate    DATE,
    EmpID           INTEGER,
    EmpName         TEXT COLLATE NOCASE,
    EmpNo           TEXT COLLATE NOCASE,
    AccountID       INTEGER,
    AccountDesc     TEXT COLLATE NOCASE,
    TransCurrSymbol TEXT COLLATE NOCASE,
    AccCurrSymbol   TEXT COLLATE NOCASE,
    TransCurrID     INTEGER,
    AccCurrID       INTEGER,
    RefTransAmount  REAL DEFAULT 0,
    AccountAmount   REAL DEFAULT 0,
    DeptAmount      REAL DEFAULT 0,
    CompAmount      REAL DEFAULT 0,
    Credit          INTEGER DEFAULT 0,
    PRIMARY KEY (CompanyID, TransID, DetailID)
);
-- The save, the month-end status and the audit look up which entries link a source; with
-- the entry in the index they need not read the detail rows.
CREATE INDEX ixPayAccLinkDetailsRef ON paPayAccLinkDetails (CompanyID, RefTransID, TransID);

CREATE TABLE paPayAccLinkPostingDetails (
    CompanyID      INTEGER NOT NULL,
    TransID        INTEGER NOT NULL,
    DetailID       INTEGER NOT NULL,
    DepartmentID   INTEGER,
    AccountID      INTEGER,
    AccountDesc    TEXT COLLATE NOCASE,
    Description    TEXT COLLATE NOCASE,
    AccCurrID      INTEGER,
    AccCurrSymbol  TEXT COLLATE NOCASE,
    RefCurrID      INTEGER,
    RefCurrSymbol  TEXT COLLATE NOCASE,
    DebitAmount    REAL DEFAULT 0,
    CreditAmount   REAL DEFAULT 0,
    RefTransAmount REAL DEFAULT 0,
    DeptAmount     REAL DEFAULT 0,
    CompAmount     REAL DEFAULT 0,
    Editable       TEXT COLLATE NOCASE DEFAULT 'N',
    PRIMARY KEY (CompanyID, TransID, DetailID)
);

-- Who saved and who cancelled each entry, and when: the link tables keep no user.
CREATE TABLE paPayAccLinkHistory (
    CompanyID INTEGER NOT NULL,
    TransID   INTEGER NOT NULL,
    EventTime DATE NOT NULL,
    UserID    INTEGER,
    Action    TEXT COLLATE NOCASE NOT NULL  -- N saved as new, E saved after editing, C cancelled
);
CREATE INDEX ixPayAccLinkHistory ON paPayAccLinkHistory (CompanyID, TransID);

-- The free texts' limit. Triggers rather than CHECK constraints, because SQLite adds a
-- constraint to a table only by copying it, and a copy would drop the columns the suite
-- has added to it.
CREATE TRIGGER trPayAccLinkHeaderTextsNew BEFORE INSERT ON paPayAccLinkHeader
WHEN length(NEW.Remarks) > 255 OR length(NEW.cancelremarks) > 255
BEGIN SELECT RAISE(ABORT, 'An entry''s remarks hold at most 255 characters.'); END;
CREATE TRIGGER trPayAccLinkHeaderTexts BEFORE UPDATE OF Remarks, cancelremarks ON paPayAccLinkHeader
WHEN length(NEW.Remarks) > 255 OR length(NEW.cancelremarks) > 255
BEGIN SELECT RAISE(ABORT, 'An entry''s remarks hold at most 255 characters.'); END;
CREATE TRIGGER trPayAccLinkPostingTextsNew BEFORE INSERT ON paPayAccLinkPostingDetails
WHEN length(NEW.Description) > 255
BEGIN SELECT RAISE(ABORT, 'A posting line''s description holds at most 255 characters.'); END;
CREATE TRIGGER trPayAccLinkPostingTexts BEFORE UPDATE OF Description ON paPayAccLinkPostingDetails
WHEN length(NEW.Description) > 255
BEGIN SELECT RAISE(ABORT, 'A posting line''s description holds at most 255 characters.'); END;

-- Which of the numbered scripts of migrations/ the database has had: one row.
CREATE TABLE paPayAccLinkSchema (Version INTEGER NOT NULL);

-- ---------------------------------------------------------------- companies, currencies

CREATE TABLE pCompanyMaster (
    CompanyID   INTEGER NOT NULL PRIMARY KEY,
    CompanyName TEXT COLLATE NOCASE,
    CurrencyID  INTEGER
);

CREATE TABLE pCurrencyMaster (
    CompanyID    INTEGER NOT NULL,
    CurrencyID   INTEGER NOT NULL,
    Symbol       TEXT COLLATE NOCASE,
    CurrencyName TEXT COLLATE NOCASE,
    DecimalPlaces INTEGER DEFAULT 2,
    PRIMARY KEY (CompanyID, CurrencyID)
);

-- Rate: how many units of CurrencyID1 one unit of CurrencyID2 buys, so an amount in
-- CurrencyID2 times Rate is the amount in CurrencyID1. Each direction is its own row: the
-- suite never derives one direction from the other.
CREATE TABLE pExchangeRate (
    CompanyID   INTEGER NOT NULL,
    CurrencyID1 INTEGER NOT NULL,
    CurrencyID2 INTEGER NOT NULL,
    Rate        REAL,
    PRIMARY KEY (CompanyID, CurrencyID1, CurrencyID2)
);

-- The logical table pDepartment lives under this physical name; linktable maps it.
CREATE TABLE pDepartmentMaster (
    CompanyID      INTEGER NOT NULL,
    DepartmentID   INTEGER NOT NULL,
    DepartmentName TEXT COLLATE NOCASE,
    DepCurrencyID  INTEGER,
    PRIMARY KEY (CompanyID, DepartmentID)
);

CREATE TABLE pemployee (
    eCompanyID    INTEGER NOT NULL,
    eEmployeeID   INTEGER NOT NULL,
    eEmpNo        TEXT COLLATE NOCASE,
    eName         TEXT COLLATE NOCASE,
    eDepartmentID INTEGER,
    ecurrencyid   INTEGER,
    eJoinDate     DATE DEFAULT NULL,
    PRIMARY KEY (eCompanyID, eEmployeeID)
);
-- The settings check asks which currencies a company's employees are paid in.
CREATE INDEX ixEmployeeCurrency ON pemployee (eCompanyID, ecurrencyid);

CREATE TABLE aAccountMaster (
    CompanyID   INTEGER NOT NULL,
    AccountID   INTEGER NOT NULL,
    AccountDesc TEXT COLLATE NOCASE,
    CurrencyID  INTEGER,
    AccountCode TEXT COLLATE NOCASE DEFAULT '',
    PRIMARY KEY (CompanyID, AccountID)
);
-- The journal line editor finds an account by its name.
CREATE INDEX ixAccountDesc ON aAccountMaster (CompanyID, AccountDesc);

-- ---------------------------------------------------------------- payroll and payments

-- Four rows per currency that employees are paid in: 'B' basic and 'A' allowances are
-- debited, 'D' deductions and 'N' net pay credited. No key on the component: the settings
-- check counts the rows and must be able to see a duplicate as an error.
CREATE TABLE paSalaryAccountsConfig (
    sacCompanyID   INTEGER NOT NULL,
    sacCurrencyID  INTEGER NOT NULL,
    sacComponent   TEXT COLLATE NOCASE NOT NULL,
    sacSalaryaccID INTEGER,
    sacCredit      INTEGER DEFAULT 0
);
CREATE INDEX ixSalaryAccountsConfig ON paSalaryAccountsConfig (sacCompanyID, sacCurrencyID);

-- One processed payroll of one employee; amounts in the employee's currency, and
-- basic + allowances = deductions + net pay.
CREATE TABLE pMonthlyPayRollProcessing (
    mppCompanyID     INTEGER NOT NULL,
    mppProcessID     INTEGER NOT NULL,
    mppProcessNo     TEXT COLLATE NOCASE,
    mppProcessedDate DATE,
    mppDepartmentID  INTEGER,
    mppEmpID         INTEGER,
    mppBasic         REAL DEFAULT 0,
    mppAllowances    REAL DEFAULT 0,
    mppDeductions    REAL DEFAULT 0,
    mppNetPay        REAL DEFAULT 0,
    mppPosted        INTEGER DEFAULT 0,
    PRIMARY KEY (mppCompanyID, mppProcessID)
);
-- Gathering: one department's runs of a company within a date range.
CREATE INDEX ixPayrollDepartmentDate
    ON pMonthlyPayRollProcessing (mppCompanyID, mppDepartmentID, mppProcessedDate);
-- The latest processing date of a month is asked for across all companies.
CREATE INDEX ixPayrollDate ON pMonthlyPayRollProcessing (mppProcessedDate);
-- The month-end status reads a company's runs of a month.
CREATE INDEX ixPayrollCompanyDate ON pMonthlyPayRollProcessing (mppCompanyID, mppProcessedDate);

CREATE TABLE pPaymentHeader (
    phCompanyID    INTEGER NOT NULL,
    phPaymentID    INTEGER NOT NULL,
    phPaymentNo    TEXT COLLATE NOCASE,
    phDate         DATE,
    phDepartmentID INTEGER,
    phEmployeeID   INTEGER,
    phcurrencyid   INTEGER,
    phType         TEXT COLLATE NOCASE,
    phPosted       INTEGER DEFAULT 0,
    phRemarks      TEXT COLLATE NOCASE DEFAULT '',
    PRIMARY KEY (phCompanyID, phPaymentID)
);
CREATE INDEX ixPaymentDepartmentType
    ON pPaymentHeader (phCompanyID, phDepartmentID, phType, phDate);
CREATE INDEX ixPaymentCompanyDate ON pPaymentHeader (phCompanyID, phDate);

CREATE TABLE pPaymentDetails (
    pdCompanyID    INTEGER NOT NULL,
    pdPaymentID    INTEGER NOT NULL,
    pdLineID       INTEGER NOT NULL,
    pdPaymentAmt   REAL DEFAULT 0,
    pdDescription  TEXT COLLATE NOCASE DEFAULT '',
    PRIMARY KEY (pdCompanyID, pdPaymentID, pdLineID)
);

CREATE TABLE pLoanApplication (
    laCompanyID      INTEGER NOT NULL,
    laLoanAppID      INTEGER NOT NULL,
    laAppType        TEXT COLLATE NOCASE DEFAULT 'L',
    laEmployeeID     INTEGER,
    laLoanID         INTEGER,
    laSanctionAmount REAL DEFAULT 0,
    PRIMARY KEY (laCompanyID, laLoanAppID)
);

CREATE TABLE pLoansIssue (
    liCompanyID      INTEGER NOT NULL,
    liLoanAppID      INTEGER NOT NULL,
    liCurrentBalance REAL,
    PRIMARY KEY (liCompanyID, liLoanAppID)
);

-- Accounts that payments post to: one per payment kind (A R S E H O), debited, and 'CASH',
-- credited.
CREATE TABLE paPayAccLinkSettings (
    CompanyID    INTEGER NOT NULL,
    SettingCode  TEXT COLLATE NOCASE NOT NULL,
    SettingName  TEXT COLLATE NOCASE,
    adcAccountID INTEGER,
    PRIMARY KEY (CompanyID, SettingCode)
);

-- One row for every setting that every company needs, stored or not: a setting that was
-- never entered shows with no account, so the settings check sees it as missing.
CREATE VIEW vwPayAccLinkSettings AS
WITH codes (SettingCode, SettingName) AS (
    VALUES ('A', 'Salary Advances'), ('R', 'Reimbursements'), ('S', 'Savings'),
           ('E', 'Leave Encashments'), ('H', 'Holded Salaries'), ('O', 'Others'),
           ('CASH', 'Cash')
),
companies (CompanyID) AS (
    SELECT CompanyID FROM pCompanyMaster
    UNION
    SELECT CompanyID FROM paPayAccLinkSettings
)
SELECT c.CompanyID AS CompanyID,
       k.SettingCode AS SettingCode,
       coalesce(s.SettingName, k.SettingName) AS SettingName,
       s.adcAccountID AS adcAccountID,
       a.AccountDesc AS AccountDesc,
       a.CurrencyID AS CurrencyID
FROM companies c
CROSS JOIN codes k
LEFT JOIN paPayAccLinkSettings s ON s.CompanyID = c.CompanyID AND s.SettingCode = k.SettingCode
LEFT JOIN aAccountMaster a ON a.CompanyID = c.CompanyID AND a.AccountID = s.adcAccountID;

-- ---------------------------------------------------------------- account lines of the sources

-- Every non-zero account line of every processed payroll, converted into the account's,
-- the department's and the company's currency. A rate applies only in the direction it is
-- stored (pExchangeRate); the same currency without a row converts at 1, any other pair
-- without a row gives no amount. Converted amounts are rounded to cents, and the net pay
-- line takes the difference of the rounded other three, so that the lines of a run
-- balance to the cent in every currency.
CREATE VIEW vwPayrollAccountLines AS
SELECT r.mppCompanyID, r.mppProcessID, r.mppProcessNo, r.mppProcessedDate, r.mppDepartmentID,
       r.mppEmpID, r.mppPosted, r.eEmpNo, r.eName,
       r.depCurrencyID, r.CompCurrID, r.DepSymbol, r.ComSymbol,
       r.AccountDesc, r.sacSalaryaccID, r.sacComponent, r.Type, r.Credit,
       r.netPay,
       CASE WHEN r.sacComponent = 'N'
            THEN round(r.mppBasic * r.AccRate, 2) + round(r.mppAllowances * r.AccRate, 2)
                 - round(r.mppDeductions * r.AccRate, 2)
            ELSE round(r.netPay * r.AccRate, 2) END AS AccExRate,
       CASE WHEN r.sacComponent = 'N'
            THEN round(r.mppBasic * r.DepRate, 2) + round(r.mppAllowances * r.DepRate, 2)
                 - round(r.mppDeductions * r.DepRate, 2)
            ELSE round(r.netPay * r.DepRate, 2) END AS DepExRate,
       CASE WHEN r.sacComponent = 'N'
            THEN round(r.mppBasic * r.CompRate, 2) + round(r.mppAllowances * r.CompRate, 2)
                 - round(r.mppDeductions * r.CompRate, 2)
            ELSE round(r.netPay * r.CompRate, 2) END AS CompExRate,
       r.ResSymbol, r.sacCurrencyID, r.AccSymbol, r.CurrencyID
FROM (
    SELECT m.mppCompanyID, m.mppProcessID, m.mppProcessNo, m.mppProcessedDate,
           m.mppDepartmentID, m.mppEmpID, m.mppPosted, m.mppBasic, m.mppAllowances,
           m.mppDeductions, e.eEmpNo, e.eName,
           d.DepCurrencyID AS depCurrencyID, cm.CurrencyID AS CompCurrID,
           dc.Symbol AS DepSymbol, cc.Symbol AS ComSymbol,
           a.AccountDesc, s.sacSalaryaccID, s.sacComponent,
           CASE s.sacComponent WHEN 'B' THEN 'Basic Salary' WHEN 'A' THEN 'Allowances'
                WHEN 'D' THEN 'Deductions' WHEN 'N' THEN 'Net Pay' END AS Type,
           s.sacCredit AS Credit,
           CASE s.sacComponent WHEN 'B' THEN m.mppBasic WHEN 'A' THEN m.mppAllowances
                WHEN 'D' THEN m.mppDeductions WHEN 'N' THEN m.mppNetPay END AS netPay,
           rc.Symbol AS ResSymbol, s.sacCurrencyID, ac.Symbol AS AccSymbol, a.CurrencyID,
           CASE WHEN a.CurrencyID = s.sacCurrencyID THEN coalesce(xa.Rate, 1) ELSE xa.Rate END
               AS AccRate,
           CASE WHEN d.DepCurrencyID = s.sacCurrencyID THEN coalesce(xd.Rate, 1) ELSE xd.Rate END
               AS DepRate,
           CASE WHEN cm.CurrencyID = s.sacCurrencyID THEN coalesce(xc.Rate, 1) ELSE xc.Rate END
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

-- Every non-zero payment line as two account lines: the debit to the account set for the
-- payment's kind (Credit 0) and the credit to the cash account (Credit 1). Conversions as
-- for payroll; both sides carry the same converted amounts, so they balance.
CREATE VIEW vwPaymentAccountLines AS
SELECT r.phCompanyID, r.phPaymentID, r.phPaymentNo, r.phDate, r.phDepartmentID, r.phEmployeeID,
       r.phcurrencyid, r.phType, r.phPosted, r.pdLineID, r.eEmpNo, r.eName,
       r.depCurrencyID, r.CompCurrID, r.DepSymbol, r.ComSymbol,
       r.adcAccountID, r.AccountDesc, r.Credit, r.pdPaymentAmt,
       round(r.pdPaymentAmt * r.AccRate, 2) AS AccExRate,
       round(r.pdPaymentAmt * r.DepRate, 2) AS DepExRate,
       round(r.pdPaymentAmt * r.CompRate, 2) AS CompExRate,
       r.ResSymbol, r.AccSymbol, r.CurrencyID
FROM (
    SELECT p.phCompanyID, p.phPaymentID, p.phPaymentNo, p.phDate, p.phDepartmentID,
           p.phEmployeeID, p.phcurrencyid, p.phType, p.phPosted, l.pdLineID, l.pdPaymentAmt,
           e.eEmpNo, e.eName,
           d.DepCurrencyID AS depCurrencyID, cm.CurrencyID AS CompCurrID,
           dc.Symbol AS DepSymbol, cc.Symbol AS ComSymbol,
           s.adcAccountID, a.AccountDesc, k.Credit,
           rc.Symbol AS ResSymbol, ac.Symbol AS AccSymbol, a.CurrencyID,
           CASE WHEN a.CurrencyID = p.phcurrencyid THEN coalesce(xa.Rate, 1) ELSE xa.Rate END
               AS AccRate,
           CASE WHEN d.DepCurrencyID = p.phcurrencyid THEN coalesce(xd.Rate, 1) ELSE xd.Rate END
               AS DepRate,
           CASE WHEN cm.CurrencyID = p.phcurrencyid THEN coalesce(xc.Rate, 1) ELSE xc.Rate END
               AS CompRate
    FROM pPaymentHeader p
    JOIN pPaymentDetails l ON l.pdCompanyID = p.phCompanyID AND l.pdPaymentID = p.phPaymentID
    CROSS JOIN (SELECT 0 AS Credit UNION ALL SELECT 1) k
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

-- ---------------------------------------------------------------- users, captions, settings

CREATE TABLE pusers (
    userid   INTEGER NOT NULL PRIMARY KEY,
    username TEXT COLLATE NOCASE,
    fullname TEXT COLLATE NOCASE DEFAULT ''
);

CREATE TABLE puserrights (
    companyid      INTEGER NOT NULL,
    userid         INTEGER NOT NULL,
    interfaceid    INTEGER NOT NULL,
    FunctionRights TEXT COLLATE NOCASE,
    PRIMARY KEY (companyid, userid, interfaceid)
);

CREATE TABLE pprefix (
    companyid   INTEGER NOT NULL,
    InterfaceID INTEGER NOT NULL,
    Prefix      TEXT COLLATE NOCASE,
    PRIMARY KEY (companyid, InterfaceID)
);

CREATE TABLE psettings (
    companyid        INTEGER NOT NULL PRIMARY KEY,
    noofpreviousdays INTEGER DEFAULT 0
);

CREATE TABLE ptables (
    tableid   INTEGER NOT NULL PRIMARY KEY,
    tablename TEXT COLLATE NOCASE
);

CREATE TABLE ptablecolumns (
    tableid      INTEGER NOT NULL,
    columnid     INTEGER NOT NULL,
    columnheader TEXT COLLATE NOCASE,
    columnname   TEXT COLLATE NOCASE,
    PRIMARY KEY (tableid, columnid)
);

-- Logical table name to physical name. No key: a name given twice is the installation's
-- mistake, and the last row read wins.
CREATE TABLE linktable (
    tablename     TEXT COLLATE NOCASE NOT NULL,
    linktablename TEXT COLLATE NOCASE
);
