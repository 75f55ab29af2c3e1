-- param @CompanyID int
-- param @FromDate date
-- param @ToDate date
-- param @DepartmentID int
-- param @Type text
-- The reimbursements of the department that are not yet linked, dated within the range, both ends
-- included: two rows per payment line, the debit to the account set for 'R' and the
-- credit to the cash account. @Type is taken for the shared calling convention; this
-- procedure serves 'R' only.
SELECT phPaymentNo, phDate, eEmpNo, eName, AccExRate, Credit, phPaymentID, adcAccountID,
       phDepartmentID, AccountDesc, pdPaymentAmt, DepExRate, CompExRate, ResSymbol, AccSymbol,
       phcurrencyid, CurrencyID, phEmployeeID, depCurrencyID, CompCurrID, DepSymbol, ComSymbol
FROM vwPaymentAccountLines
WHERE phCompanyID = @CompanyID
  AND phDepartmentID = @DepartmentID
  AND phType = 'R'
  AND phDate >= @FromDate
  AND phDate <= @ToDate || ' 23:59:59'
  AND coalesce(phPosted, 0) <> 1
ORDER BY phDate, phPaymentID, pdLineID, Credit
