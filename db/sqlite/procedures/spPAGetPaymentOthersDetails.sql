-- param @CompanyID int
-- param @FromDate date
-- param @ToDate date
-- param @DepartmentID int
-- param @Type text
-- Leave encashments ('E'), held salaries ('H') and other payments ('O'), the kind given by
-- @Type, of the department, not yet linked, dated within the range, both ends included: two
-- rows per payment line, the debit to the account set for the kind and the credit to the
-- cash account. The kinds with procedures of their own are not served here.
SELECT phPaymentNo, phDate, eEmpNo, eName, AccExRate, Credit, phPaymentID, adcAccountID,
       phDepartmentID, AccountDesc, pdPaymentAmt, DepExRate, CompExRate, ResSymbol, AccSymbol,
       phcurrencyid, CurrencyID, phEmployeeID, depCurrencyID, CompCurrID, DepSymbol, ComSymbol
FROM vwPaymentAccountLines
WHERE phCompanyID = @CompanyID
  AND phDepartmentID = @DepartmentID
  AND phType = @Type
  AND upper(@Type) IN ('E', 'H', 'O')
  AND phDate >= @FromDate
  AND phDate <= @ToDate || ' 23:59:59'
  AND coalesce(phPosted, 0) <> 1
ORDER BY phDate, phPaymentID, pdLineID, Credit
