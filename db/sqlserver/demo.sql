-- Demo data on SQL Server, the same as the embedded database's: a trading company of a few
-- hundred employees (company 1) that keeps its books in dirhams, with a department in Pune
-- paid in rupees and staff paid in dollars, and a small facilities company (company 2) whose
-- accounting settings are not finished. Payroll was processed on the 28th of August,
-- September and October 2026. Load after schema.sql and procedures.sql.
SET NOCOUNT ON;
GO

-- ---------------------------------------------------------------- companies, currencies

INSERT INTO pCompanyMaster (CompanyID, CompanyName, CurrencyID) VALUES
    (1, 'Al Noor General Trading LLC', 1),
    (2, 'Pearl Facility Services WLL', 1);

INSERT INTO pCurrencyMaster (CompanyID, CurrencyID, Symbol, CurrencyName) VALUES
    (1, 1, 'AED', 'UAE Dirham'),
    (1, 2, 'USD', 'US Dollar'),
    (1, 3, 'INR', 'Indian Rupee'),
    (1, 4, 'EUR', 'Euro'),
    (2, 1, 'QAR', 'Qatari Riyal'),
    (2, 2, 'USD', 'US Dollar');

-- Both directions are kept as quoted by the bank, so they are not exact inverses. The euro
-- has no rates yet.
INSERT INTO pExchangeRate (CompanyID, CurrencyID1, CurrencyID2, Rate) VALUES
    (1, 1, 2, 3.6725),
    (1, 2, 1, 0.2723),
    (1, 1, 3, 0.0441),
    (1, 3, 1, 22.68),
    (1, 2, 3, 0.012),
    (1, 3, 2, 83.3),
    (2, 1, 2, 3.64),
    (2, 2, 1, 0.2747);

INSERT INTO pDepartmentMaster (CompanyID, DepartmentID, DepartmentName, DepCurrencyID) VALUES
    (1, 1, 'Administration', 1),
    (1, 2, 'Finance & Accounts', 1),
    (1, 3, 'Site Operations', 1),
    (1, 4, 'Export Sales', 2),
    (1, 5, 'Engineering Centre Pune', 3),
    (2, 1, 'Housekeeping', 1),
    (2, 2, 'Security Services', 1);

INSERT INTO aAccountMaster (CompanyID, AccountID, AccountDesc, CurrencyID, AccountCode) VALUES
    (1, 1001, 'Basic Salaries - AED', 1, '5101'),
    (1, 1002, 'Staff Allowances - AED', 1, '5102'),
    (1, 1003, 'Salary Deductions Payable - AED', 1, '2201'),
    (1, 1004, 'Net Salaries Payable - AED', 1, '2202'),
    (1, 1011, 'Basic Salaries - USD', 2, '5111'),
    (1, 1012, 'Staff Allowances - USD', 2, '5112'),
    (1, 1013, 'Salary Deductions Payable - USD', 2, '2211'),
    (1, 1014, 'Net Salaries Payable - USD', 2, '2212'),
    (1, 1021, 'Basic Salaries - INR', 3, '5121'),
    (1, 1022, 'Staff Allowances - INR', 3, '5122'),
    (1, 1023, 'Salary Deductions Payable - INR', 3, '2221'),
    (1, 1024, 'Net Salaries Payable - INR', 3, '2222'),
    (1, 2001, 'Salary Advances to Staff', 1, '1401'),
    (1, 2002, 'Staff Expense Reimbursements', 1, '5201'),
    (1, 2003, 'Staff Savings Scheme', 1, '2301'),
    (1, 2004, 'Leave Encashment Expense', 1, '5202'),
    (1, 2005, 'Held Salaries Payable', 1, '2203'),
    (1, 2006, 'Other Staff Payments', 1, '5203'),
    (1, 3001, 'Cash in Hand', 1, '1001'),
    (1, 3002, 'Emirates Bank Current Account', 1, '1101'),
    (1, 3003, 'Citibank Dollar Account', 2, '1102'),
    (1, 3004, 'HDFC Bank Pune Account', 3, '1103'),
    (1, 3005, 'Deutsche Bank Euro Account', 4, '1104'),
    (2, 1001, 'Basic Salaries', 1, '5101'),
    (2, 1002, 'Allowances', 1, '5102'),
    (2, 1003, 'Deductions Payable', 1, '2201'),
    (2, 1004, 'Salaries Payable', 1, '2202'),
    (2, 2001, 'Salary Advances', 1, '1401'),
    (2, 2002, 'Reimbursements', 1, '5201'),
    (2, 2003, 'Savings Scheme', 1, '2301'),
    (2, 2004, 'Leave Encashment', 1, '5202'),
    (2, 2006, 'Other Payments', 1, '5203'),
    (2, 3001, 'Cash', 1, '1001');

-- Company 1: four accounts for every currency its staff are paid in. Company 2 pays staff in
-- riyals and dollars but has only the riyal accounts configured.
INSERT INTO paSalaryAccountsConfig
    (sacCompanyID, sacCurrencyID, sacComponent, sacSalaryaccID, sacCredit) VALUES
    (1, 1, 'B', 1001, 0), (1, 1, 'A', 1002, 0), (1, 1, 'D', 1003, 1), (1, 1, 'N', 1004, 1),
    (1, 2, 'B', 1011, 0), (1, 2, 'A', 1012, 0), (1, 2, 'D', 1013, 1), (1, 2, 'N', 1014, 1),
    (1, 3, 'B', 1021, 0), (1, 3, 'A', 1022, 0), (1, 3, 'D', 1023, 1), (1, 3, 'N', 1024, 1),
    (2, 1, 'B', 1001, 0), (2, 1, 'A', 1002, 0), (2, 1, 'D', 1003, 1), (2, 1, 'N', 1004, 1);

-- Company 2 has no account for held salaries yet and no cash account at all.
INSERT INTO paPayAccLinkSettings (CompanyID, SettingCode, SettingName, adcAccountID) VALUES
    (1, 'A', 'Salary Advances', 2001),
    (1, 'R', 'Reimbursements', 2002),
    (1, 'S', 'Savings', 2003),
    (1, 'E', 'Leave Encashments', 2004),
    (1, 'H', 'Holded Salaries', 2005),
    (1, 'O', 'Others', 2006),
    (1, 'CASH', 'Cash', 3001),
    (2, 'A', 'Salary Advances', 2001),
    (2, 'R', 'Reimbursements', 2002),
    (2, 'S', 'Savings', 2003),
    (2, 'E', 'Leave Encashments', 2004),
    (2, 'H', 'Holded Salaries', NULL),
    (2, 'O', 'Others', 2006);

-- ---------------------------------------------------------------- employees

-- Company 1: 1-30 Administration, 31-55 Finance, 56-215 Site Operations, 216-260 Export
-- Sales, 261-320 Pune. Pune is paid in rupees, Export Sales in dollars except every fifth,
-- every eighth on site and every tenth in Administration in dollars, everyone else in
-- dirhams.
WITH
seq (n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM seq WHERE n < 320),
firsts (i, name) AS (SELECT * FROM (VALUES
    (0, 'Ahmed'), (1, 'Fatima'), (2, 'Rajesh'), (3, 'Priya'), (4, 'Mohammed'), (5, 'Aisha'),
    (6, 'John'), (7, 'Maria'), (8, 'Suresh'), (9, 'Anita'), (10, 'Omar'), (11, 'Layla'),
    (12, 'David'), (13, 'Sarah'), (14, 'Vikram'), (15, 'Deepa'), (16, 'Khalid'), (17, 'Noura'),
    (18, 'Michael'), (19, 'Grace'), (20, 'Arjun'), (21, 'Kavya'), (22, 'Hassan'),
    (23, 'Mariam'), (24, 'Peter'), (25, 'Elena'), (26, 'Sanjay'), (27, 'Meera'),
    (28, 'Yousef'), (29, 'Rania')) AS v (i, name)),
lasts (i, name) AS (SELECT * FROM (VALUES
    (0, 'Al Mansoori'), (1, 'Sharma'), (2, 'Khan'), (3, 'Fernandes'), (4, 'Pillai'),
    (5, 'Haddad'), (6, 'Thomas'), (7, 'Nair'), (8, 'Rahman'), (9, 'Dsouza'), (10, 'Menon'),
    (11, 'Siddiqui'), (12, 'Joseph'), (13, 'Kapoor'), (14, 'Al Hashimi'), (15, 'Iyer'),
    (16, 'Mathew'), (17, 'Qureshi'), (18, 'Reddy'), (19, 'Saleh'), (20, 'George'),
    (21, 'Patel'), (22, 'Varghese'), (23, 'Chaudhry'), (24, 'Rao')) AS v (i, name)),
staff (n, dept) AS (
    SELECT n, CASE WHEN n <= 30 THEN 1 WHEN n <= 55 THEN 2 WHEN n <= 215 THEN 3
                   WHEN n <= 260 THEN 4 ELSE 5 END
    FROM seq)
INSERT INTO pemployee (eCompanyID, eEmployeeID, eEmpNo, eName, eDepartmentID, ecurrencyid, eJoinDate)
SELECT 1, s.n, 'E' + RIGHT('0000' + CAST(s.n AS varchar(10)), 4), f.name + ' ' + l.name, s.dept,
       CASE s.dept WHEN 5 THEN 3
                   WHEN 4 THEN CASE WHEN s.n % 5 = 0 THEN 1 ELSE 2 END
                   WHEN 3 THEN CASE WHEN s.n % 8 = 0 THEN 2 ELSE 1 END
                   WHEN 1 THEN CASE WHEN s.n % 10 = 0 THEN 2 ELSE 1 END
                   ELSE 1 END,
       DATEADD(day, (s.n * 37) % 3500, CAST('20150105' AS datetime))
FROM staff s
JOIN firsts f ON f.i = (s.n * 7) % 30
JOIN lasts l ON l.i = (s.n * 13) % 25
OPTION (MAXRECURSION 1000);

-- Company 2: 1-8 Housekeeping, 9-14 Security; two supervisors are paid in dollars.
INSERT INTO pemployee (eCompanyID, eEmployeeID, eEmpNo, eName, eDepartmentID, ecurrencyid) VALUES
    (2, 1, 'PF001', 'Ramesh Gurung', 1, 1),
    (2, 2, 'PF002', 'Joseph Mensah', 1, 1),
    (2, 3, 'PF003', 'Lakshmi Devi', 1, 1),
    (2, 4, 'PF004', 'Carlos Reyes', 1, 2),
    (2, 5, 'PF005', 'Bimal Thapa', 1, 1),
    (2, 6, 'PF006', 'Amina Yusuf', 1, 1),
    (2, 7, 'PF007', 'Sunil Perera', 1, 1),
    (2, 8, 'PF008', 'Grace Wanjiru', 1, 1),
    (2, 9, 'PF009', 'Imran Aziz', 2, 1),
    (2, 10, 'PF010', 'Prakash Rai', 2, 1),
    (2, 11, 'PF011', 'Mark Dela Cruz', 2, 2),
    (2, 12, 'PF012', 'Tariq Mahmood', 2, 1),
    (2, 13, 'PF013', 'Kiran Tamang', 2, 1),
    (2, 14, 'PF014', 'Samuel Osei', 2, 1);

-- ---------------------------------------------------------------- processed payroll

-- One run per employee and month; run ids 1..., 1001..., 2001... for August, September and
-- October. Amounts are in the employee's currency and net pay is what is left, to the cent.
WITH
months (m, processed, tag) AS (SELECT * FROM (VALUES
    (0, CAST('20260828' AS datetime), '202608'), (1, CAST('20260928' AS datetime), '202609'),
    (2, CAST('20261028' AS datetime), '202610')) AS v (m, processed, tag)),
scale (currency, base, step) AS (SELECT * FROM (VALUES
    (1, 3000.0, 250.0), (2, 1500.0, 100.0), (3, 40000.0, 2500.0)) AS v (currency, base, step)),
basic AS (
    SELECT e.eCompanyID AS company, e.eEmployeeID AS n, e.eDepartmentID AS dept, mo.m,
           mo.processed, mo.tag, s.step,
           s.base + ((e.eEmployeeID * 37) % 45) * s.step AS b
    FROM pemployee e
    JOIN scale s ON s.currency = e.ecurrencyid
    CROSS JOIN months mo),
amounts AS (
    SELECT company, n, dept, m, processed, tag, b,
           ROUND(b * 0.4 + ((n + 3 * m) % 7) * step * 0.3, 2) AS a,
           ROUND(b * 0.05 + ((n * (m + 1)) % 4) * step * 0.481, 2) AS d
    FROM basic)
INSERT INTO pMonthlyPayRollProcessing
    (mppCompanyID, mppProcessID, mppProcessNo, mppProcessedDate, mppDepartmentID, mppEmpID,
     mppBasic, mppAllowances, mppDeductions, mppNetPay, mppPosted)
SELECT company, m * 1000 + n, 'PR' + tag + '/' + RIGHT('000' + CAST(n AS varchar(10)), 3),
       processed, dept, n, b, a, d, ROUND(b + a - d, 2), 0
FROM amounts;

-- ---------------------------------------------------------------- payments

-- Company 1: three payments of every kind in each month, one on site, one in Administration
-- (in Pune in September) and one in Export Sales. Reimbursements and other payments have
-- two lines; the second line of the third other payment is a zero that nothing posts.
WITH
kinds (t, code, tag) AS (SELECT * FROM (VALUES
    (1, 'A', 'ADV'), (2, 'R', 'RMB'), (3, 'S', 'SAV'), (4, 'E', 'LEN'), (5, 'H', 'HLD'),
    (6, 'O', 'OTH')) AS v (t, code, tag)),
months (m) AS (SELECT * FROM (VALUES (1), (2), (3)) AS v (m)),
slots (k) AS (SELECT * FROM (VALUES (1), (2), (3)) AS v (k)),
picks AS (
    SELECT t, code, tag, m, k,
           CASE k WHEN 1 THEN 56 + ((t * 11 + m * 7) % 160)
                  WHEN 2 THEN CASE WHEN m = 2 THEN 261 + ((t * 5 + m) % 60)
                                   ELSE 1 + ((t * 3 + m) % 30) END
                  ELSE 216 + ((t * 7 + m * 3) % 45) END AS n
    FROM kinds CROSS JOIN months CROSS JOIN slots)
INSERT INTO pPaymentHeader
    (phCompanyID, phPaymentID, phPaymentNo, phDate, phDepartmentID, phEmployeeID, phcurrencyid,
     phType, phPosted)
SELECT 1, t * 100 + (m - 1) * 3 + k,
       tag + '/2026/' + RIGHT('000' + CAST((m - 1) * 3 + k AS varchar(10)), 3),
       DATEFROMPARTS(2026, 7 + m, 5 + k * 6), e.eDepartmentID, e.eEmployeeID,
       e.ecurrencyid, code, 0
FROM picks p
JOIN pemployee e ON e.eCompanyID = 1 AND e.eEmployeeID = p.n;

WITH
lines (l) AS (SELECT * FROM (VALUES (1), (2)) AS v (l)),
scale (currency, unit) AS (SELECT * FROM (VALUES (1, 1.0), (2, 0.25), (3, 22.5)) AS v (currency, unit))
INSERT INTO pPaymentDetails (pdCompanyID, pdPaymentID, pdLineID, pdPaymentAmt, pdDescription)
SELECT h.phCompanyID, h.phPaymentID, ln.l,
       CASE WHEN h.phType = 'O' AND h.phPaymentID % 3 = 0 AND ln.l = 2 THEN 0
            ELSE ROUND(s.unit * (400 + ((h.phPaymentID * 7 + ln.l * 13) % 20) * 125.5), 2) END,
       CASE h.phType WHEN 'A' THEN 'Salary advance'
                     WHEN 'R' THEN CASE ln.l WHEN 1 THEN 'Travel expenses' ELSE 'Medical expenses' END
                     WHEN 'S' THEN 'Savings withdrawal'
                     WHEN 'E' THEN 'Leave encashment'
                     WHEN 'H' THEN 'Held salary released'
                     ELSE CASE ln.l WHEN 1 THEN 'Relocation allowance' ELSE 'Telephone allowance' END
       END
FROM pPaymentHeader h
JOIN scale s ON s.currency = h.phcurrencyid
JOIN lines ln ON ln.l = 1 OR h.phType IN ('R', 'O')
WHERE h.phCompanyID = 1;

-- Company 2: a few advances and reimbursements.
INSERT INTO pPaymentHeader
    (phCompanyID, phPaymentID, phPaymentNo, phDate, phDepartmentID, phEmployeeID, phcurrencyid,
     phType, phPosted) VALUES
    (2, 1, 'ADV/2026/001', '20260812', 1, 2, 1, 'A', 0),
    (2, 2, 'ADV/2026/002', '20260910', 2, 11, 2, 'A', 0),
    (2, 3, 'RMB/2026/001', '20260917', 2, 12, 1, 'R', 0);
INSERT INTO pPaymentDetails (pdCompanyID, pdPaymentID, pdLineID, pdPaymentAmt, pdDescription) VALUES
    (2, 1, 1, 800, 'Salary advance'),
    (2, 2, 1, 300, 'Salary advance'),
    (2, 3, 1, 145.5, 'Uniform cleaning');

-- ---------------------------------------------------------------- saved link entries

-- Company 1: August payroll of Administration (posted to the ledger), of Finance (cancelled,
-- so its runs are free again), of Pune (open), August salary advances on site and September
-- held salaries on site (both open). Company 2: one posted entry numbered without a prefix,
-- under a TransID that company 1 uses for an open entry.
INSERT INTO paPayAccLinkHeader
    (CompanyID, TransID, DepartmentID, TransNo, TransDate, TransType, Remarks, Cancelled,
     cancelremarks, Posted) VALUES
    (1, 1, 1, 'PAL/1', '20260831', 'P', 'August 2026 salaries - Administration', 0, NULL, 1),
    (1, 2, 2, 'PAL/2', '20260831', 'P', 'August 2026 salaries - Finance', 1,
        'Entered against the wrong period', 0),
    (1, 3, 5, 'PAL/3', '20260901', 'P', 'August 2026 salaries - Pune', 0, NULL, 0),
    (1, 4, 3, 'PAL/4', '20260831', 'A', 'Salary advances August 2026', 0, NULL, 0),
    (1, 5, 3, 'PAL/5', '20260930', 'H', 'Held salaries released September 2026', 0, NULL, 0),
    (2, 3, 1, '1', '20260831', 'P', 'August 2026 salaries - Housekeeping', 0, NULL, 1);

-- The details are the lines that gathering showed for the runs and payments of each entry.
WITH picked (CompanyID, TransID, DepartmentID, FromDate, ToDate) AS (SELECT * FROM (VALUES
    (1, 1, 1, CAST('20260801' AS datetime), CAST('20260831' AS datetime)),
    (1, 2, 2, CAST('20260801' AS datetime), CAST('20260831' AS datetime)),
    (1, 3, 5, CAST('20260801' AS datetime), CAST('20260831' AS datetime)),
    (2, 3, 1, CAST('20260801' AS datetime), CAST('20260831' AS datetime)))
    AS v (CompanyID, TransID, DepartmentID, FromDate, ToDate))
INSERT INTO paPayAccLinkDetails
    (CompanyID, TransID, DetailID, DepartmentID, RefTransID, RefTransNo, RefTransType,
     RefTransDate, EmpID, EmpName, EmpNo, AccountID, AccountDesc, TransCurrSymbol,
     AccCurrSymbol, TransCurrID, AccCurrID, RefTransAmount, AccountAmount, DeptAmount,
     CompAmount, Credit)
SELECT p.CompanyID, p.TransID,
       ROW_NUMBER() OVER (PARTITION BY p.CompanyID, p.TransID
                          ORDER BY v.mppProcessedDate, v.mppProcessID,
                                   CASE v.sacComponent WHEN 'B' THEN 1 WHEN 'A' THEN 2
                                        WHEN 'D' THEN 3 ELSE 4 END),
       v.mppDepartmentID, v.mppProcessID, v.mppProcessNo, v.Type, v.mppProcessedDate,
       v.mppEmpID, v.eName, v.eEmpNo, v.sacSalaryaccID, v.AccountDesc, v.ResSymbol,
       v.AccSymbol, v.sacCurrencyID, v.CurrencyID, v.netPay, v.AccExRate, v.DepExRate,
       v.CompExRate, v.Credit
FROM picked p
JOIN vwPayrollAccountLines v
    ON v.mppCompanyID = p.CompanyID AND v.mppDepartmentID = p.DepartmentID
   AND v.mppProcessedDate BETWEEN p.FromDate AND p.ToDate;

WITH picked (CompanyID, TransID, DepartmentID, Kind, Label, FromDate, ToDate) AS (SELECT * FROM (VALUES
    (1, 4, 3, 'A', 'Salary Advance', CAST('20260801' AS datetime), CAST('20260831' AS datetime)),
    (1, 5, 3, 'H', 'Holded Salary', CAST('20260901' AS datetime), CAST('20260930' AS datetime)))
    AS v (CompanyID, TransID, DepartmentID, Kind, Label, FromDate, ToDate))
INSERT INTO paPayAccLinkDetails
    (CompanyID, TransID, DetailID, DepartmentID, RefTransID, RefTransNo, RefTransType,
     RefTransDate, EmpID, EmpName, EmpNo, AccountID, AccountDesc, TransCurrSymbol,
     AccCurrSymbol, TransCurrID, AccCurrID, RefTransAmount, AccountAmount, DeptAmount,
     CompAmount, Credit)
SELECT p.CompanyID, p.TransID,
       ROW_NUMBER() OVER (PARTITION BY p.CompanyID, p.TransID
                          ORDER BY v.phDate, v.phPaymentID, v.pdLineID, v.Credit),
       v.phDepartmentID, v.phPaymentID, v.phPaymentNo, p.Label, v.phDate, v.phEmployeeID,
       v.eName, v.eEmpNo, v.adcAccountID, v.AccountDesc, v.ResSymbol, v.AccSymbol,
       v.phcurrencyid, v.CurrencyID, v.pdPaymentAmt, v.AccExRate, v.DepExRate, v.CompExRate,
       v.Credit
FROM picked p
JOIN vwPaymentAccountLines v
    ON v.phCompanyID = p.CompanyID AND v.phDepartmentID = p.DepartmentID
   AND v.phType = p.Kind AND v.phDate BETWEEN p.FromDate AND p.ToDate;

-- Journal lines: one per account and transaction currency, debits and credits summed apart,
-- the other currencies signed (debit plus, credit minus), numbered in order of first use.
INSERT INTO paPayAccLinkPostingDetails
    (CompanyID, TransID, DetailID, DepartmentID, AccountID, AccountDesc, Description,
     AccCurrID, AccCurrSymbol, RefCurrID, RefCurrSymbol, DebitAmount, CreditAmount,
     RefTransAmount, DeptAmount, CompAmount, Editable)
SELECT CompanyID, TransID,
       ROW_NUMBER() OVER (PARTITION BY CompanyID, TransID ORDER BY MIN(DetailID)),
       MIN(DepartmentID), AccountID, MIN(AccountDesc), '', MIN(AccCurrID), MIN(AccCurrSymbol),
       TransCurrID, MIN(TransCurrSymbol),
       ROUND(SUM(CASE WHEN Credit = 1 THEN 0 ELSE AccountAmount END), 2),
       ROUND(SUM(CASE WHEN Credit = 1 THEN AccountAmount ELSE 0 END), 2),
       ROUND(SUM(CASE WHEN Credit = 1 THEN -RefTransAmount ELSE RefTransAmount END), 2),
       ROUND(SUM(CASE WHEN Credit = 1 THEN -DeptAmount ELSE DeptAmount END), 2),
       ROUND(SUM(CASE WHEN Credit = 1 THEN -CompAmount ELSE CompAmount END), 2),
       'N'
FROM paPayAccLinkDetails
GROUP BY CompanyID, TransID, AccountID, TransCurrID;

-- Sources of entries that are not cancelled are linked; the cancelled entry released its own.
UPDATE pMonthlyPayRollProcessing SET mppPosted = 1
WHERE EXISTS (
    SELECT 1 FROM paPayAccLinkDetails d
    JOIN paPayAccLinkHeader h ON h.CompanyID = d.CompanyID AND h.TransID = d.TransID
    WHERE h.TransType = 'P' AND ISNULL(h.Cancelled, 0) <> 1
      AND d.CompanyID = pMonthlyPayRollProcessing.mppCompanyID
      AND d.RefTransID = pMonthlyPayRollProcessing.mppProcessID);

UPDATE pPaymentHeader SET phPosted = 1
WHERE EXISTS (
    SELECT 1 FROM paPayAccLinkDetails d
    JOIN paPayAccLinkHeader h ON h.CompanyID = d.CompanyID AND h.TransID = d.TransID
    WHERE h.TransType <> 'P' AND ISNULL(h.Cancelled, 0) <> 1
      AND d.CompanyID = pPaymentHeader.phCompanyID
      AND d.RefTransID = pPaymentHeader.phPaymentID);

-- ---------------------------------------------------------------- users and settings

INSERT INTO pusers (userid, username, fullname) VALUES
    (1, 'admin', 'System Administrator'),
    (2, 'viewer', 'Read-only Auditor'),
    (3, 'clerk', 'Payroll Clerk'),
    (4, 'guest', 'Guest without rights');

-- Interface 60 is this component. User 4 has no rights row.
INSERT INTO puserrights (companyid, userid, interfaceid, FunctionRights) VALUES
    (1, 1, 60, 'NEDP'),
    (1, 2, 60, 'P'),
    (1, 3, 60, 'NE'),
    (2, 1, 60, 'NEDP'),
    (2, 3, 60, 'N');

INSERT INTO pprefix (companyid, InterfaceID, Prefix) VALUES (1, 60, 'PAL/');

INSERT INTO psettings (companyid, noofpreviousdays) VALUES (1, 90), (2, 30);
GO
