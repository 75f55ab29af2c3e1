-- param @CompanyID int
-- param @FromDate date
-- param @ToDate date
-- param @DepartmentID int
-- One row per account line of every processed payroll of the department that is not yet
-- linked, processed within the range, both ends included (a date carrying a time of day
-- still counts on its day). Lines come run by run, each run's in component order.
SELECT mppProcessID, mppProcessNo, mppProcessedDate, eEmpNo, eName, mppEmpID, mppDepartmentID,
       depCurrencyID, CompCurrID, DepSymbol, ComSymbol, AccountDesc, sacSalaryaccID, Type,
       Credit, netPay, AccExRate, DepExRate, CompExRate, ResSymbol, sacCurrencyID, AccSymbol,
       CurrencyID
FROM vwPayrollAccountLines
WHERE mppCompanyID = @CompanyID
  AND mppDepartmentID = @DepartmentID
  AND mppProcessedDate >= @FromDate
  AND mppProcessedDate <= @ToDate || ' 23:59:59'
  AND coalesce(mppPosted, 0) <> 1
ORDER BY mppProcessedDate, mppProcessID,
         CASE sacComponent WHEN 'B' THEN 1 WHEN 'A' THEN 2 WHEN 'D' THEN 3 ELSE 4 END
