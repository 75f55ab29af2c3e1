-- The component's stored procedures on SQL Server; load after schema.sql. Dates arrive as
-- "yyyymmdd" text, which the server reads the same under every language setting.
SET NOCOUNT ON;
GO

-- One row per account line of every processed payroll of the department that is not yet
-- linked, processed within the range, both ends included (a date carrying a time of day
-- still counts on its day). Lines come run by run, each run's in component order.
CREATE PROCEDURE spPAGetPayrollAccountDetails
    @CompanyID int,
    @FromDate datetime,
    @ToDate datetime,
    @DepartmentID int
AS
BEGIN
    SET NOCOUNT ON;
    SELECT mppProcessID, mppProcessNo, mppProcessedDate, eEmpNo, eName, mppEmpID,
           mppDepartmentID, depCurrencyID, CompCurrID, DepSymbol, ComSymbol, AccountDesc,
           sacSalaryaccID, Type, Credit, netPay, AccExRate, DepExRate, CompExRate, ResSymbol,
           sacCurrencyID, AccSymbol, CurrencyID
    FROM vwPayrollAccountLines
    WHERE mppCompanyID = @CompanyID
      AND mppDepartmentID = @DepartmentID
      AND mppProcessedDate >= @FromDate
      AND CAST(mppProcessedDate AS date) <= CAST(@ToDate AS date)
      AND ISNULL(mppPosted, 0) <> 1
    ORDER BY mppProcessedDate, mppProcessID,
             CASE sacComponent WHEN 'B' THEN 1 WHEN 'A' THEN 2 WHEN 'D' THEN 3 ELSE 4 END;
END
GO

-- The salary advances of the department that are not yet linked, dated within the range:
-- two rows per payment line, the debit to the account set for 'A' and the credit to the
-- cash account. @Type is taken for the shared calling convention; this procedure serves
-- 'A' only.
CREATE PROCEDURE spPAGetLoanIssueDetails
    @CompanyID int,
    @FromDate datetime,
    @ToDate datetime,
    @DepartmentID int,
    @Type varchar(10)
AS
BEGIN
    SET NOCOUNT ON;
    SELECT phPaymentNo, phDate, eEmpNo, eName, AccExRate, Credit, phPaymentID, adcAccountID,
           phDepartmentID, AccountDesc, pdPaymentAmt, DepExRate, CompExRate, ResSymbol,
           AccSymbol, phcurrencyid, CurrencyID, phEmployeeID, depCurrencyID, CompCurrID,
           DepSymbol, ComSymbol
    FROM vwPaymentAccountLines
    WHERE phCompanyID = @CompanyID
      AND phDepartmentID = @DepartmentID
      AND phType = 'A'
      AND phDate >= @FromDate
      AND CAST(phDate AS date) <= CAST(@ToDate AS date)
      AND ISNULL(phPosted, 0) <> 1
    ORDER BY phDate, phPaymentID, pdLineID, Credit;
END
GO

-- Reimbursements, as salary advances, for 'R'.
CREATE PROCEDURE spPAGetReimbursementDetails
    @CompanyID int,
    @FromDate datetime,
    @ToDate datetime,
    @DepartmentID int,
    @Type varchar(10)
AS
BEGIN
    SET NOCOUNT ON;
    SELECT phPaymentNo, phDate, eEmpNo, eName, AccExRate, Credit, phPaymentID, adcAccountID,
           phDepartmentID, AccountDesc, pdPaymentAmt, DepExRate, CompExRate, ResSymbol,
           AccSymbol, phcurrencyid, CurrencyID, phEmployeeID, depCurrencyID, CompCurrID,
           DepSymbol, ComSymbol
    FROM vwPaymentAccountLines
    WHERE phCompanyID = @CompanyID
      AND phDepartmentID = @DepartmentID
      AND phType = 'R'
      AND phDate >= @FromDate
      AND CAST(phDate AS date) <= CAST(@ToDate AS date)
      AND ISNULL(phPosted, 0) <> 1
    ORDER BY phDate, phPaymentID, pdLineID, Credit;
END
GO

-- Savings, as salary advances, for 'S'.
CREATE PROCEDURE spPAGetSavingsDetails
    @CompanyID int,
    @FromDate datetime,
    @ToDate datetime,
    @DepartmentID int,
    @Type varchar(10)
AS
BEGIN
    SET NOCOUNT ON;
    SELECT phPaymentNo, phDate, eEmpNo, eName, AccExRate, Credit, phPaymentID, adcAccountID,
           phDepartmentID, AccountDesc, pdPaymentAmt, DepExRate, CompExRate, ResSymbol,
           AccSymbol, phcurrencyid, CurrencyID, phEmployeeID, depCurrencyID, CompCurrID,
           DepSymbol, ComSymbol
    FROM vwPaymentAccountLines
    WHERE phCompanyID = @CompanyID
      AND phDepartmentID = @DepartmentID
      AND phType = 'S'
      AND phDate >= @FromDate
      AND CAST(phDate AS date) <= CAST(@ToDate AS date)
      AND ISNULL(phPosted, 0) <> 1
    ORDER BY phDate, phPaymentID, pdLineID, Credit;
END
GO

-- Leave encashments ('E'), held salaries ('H') and other payments ('O'), the kind given by
-- @Type. The kinds with procedures of their own are not served here.
CREATE PROCEDURE spPAGetPaymentOthersDetails
    @CompanyID int,
    @FromDate datetime,
    @ToDate datetime,
    @DepartmentID int,
    @Type varchar(10)
AS
BEGIN
    SET NOCOUNT ON;
    SELECT phPaymentNo, phDate, eEmpNo, eName, AccExRate, Credit, phPaymentID, adcAccountID,
           phDepartmentID, AccountDesc, pdPaymentAmt, DepExRate, CompExRate, ResSymbol,
           AccSymbol, phcurrencyid, CurrencyID, phEmployeeID, depCurrencyID, CompCurrID,
           DepSymbol, ComSymbol
    FROM vwPaymentAccountLines
    WHERE phCompanyID = @CompanyID
      AND phDepartmentID = @DepartmentID
      AND phType = @Type
      AND @Type IN ('E', 'H', 'O')
      AND phDate >= @FromDate
      AND CAST(phDate AS date) <= CAST(@ToDate AS date)
      AND ISNULL(phPosted, 0) <> 1
    ORDER BY phDate, phPaymentID, pdLineID, Credit;
END
GO

-- How many units of @CurrencyID1 one unit of @CurrencyID2 buys: an amount in @CurrencyID2
-- times @Rate is the amount in @CurrencyID1. Only the row stored for this direction counts;
-- the reverse row is never inverted. The same currency without a row is 1; any other pair
-- without a row leaves @Rate Null.
CREATE PROCEDURE spGetExchangeRate
    @CompanyID int,
    @CurrencyID1 smallint,
    @CurrencyID2 smallint,
    @Rate float OUTPUT
AS
BEGIN
    SET NOCOUNT ON;
    SET @Rate = NULL;
    SELECT @Rate = Rate
    FROM pExchangeRate
    WHERE CompanyID = @CompanyID AND CurrencyID1 = @CurrencyID1 AND CurrencyID2 = @CurrencyID2;
    IF @Rate IS NULL AND @CurrencyID1 = @CurrencyID2
        SET @Rate = 1;
END
GO
