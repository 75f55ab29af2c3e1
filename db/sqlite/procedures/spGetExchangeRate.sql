-- param @CompanyID int
-- param @CurrencyID1 smallint
-- param @CurrencyID2 smallint
-- param @Rate double output
-- How many units of @CurrencyID1 one unit of @CurrencyID2 buys: an amount in @CurrencyID2
-- times @Rate is the amount in @CurrencyID1. Only the row stored for this direction counts;
-- the reverse row is never inverted. The same currency without a row is 1; any other pair
-- without a row gives Null.
SELECT CASE WHEN @CurrencyID1 = @CurrencyID2 THEN coalesce(x.Rate, 1) ELSE x.Rate END AS Rate
FROM (SELECT 1) one
LEFT JOIN pExchangeRate x
    ON x.CompanyID = @CompanyID AND x.CurrencyID1 = @CurrencyID1 AND x.CurrencyID2 = @CurrencyID2
