-- What the component reads besides company data, present in every database: the physical
-- names of the suite's logical tables and the captions of the entry browser's grid. Run on
-- a new schema; migrations/0001_table_mapping.sql brings the same rows to databases of
-- older builds. A row added here needs a numbered script that adds it where it is missing,
-- never changing a row the installation has set.

-- Departments live in pDepartmentMaster. pLoans is listed as the suite lists it, though
-- this component never asks for it.
INSERT INTO linktable (tablename, linktablename)
SELECT v.column1, v.column2
FROM (VALUES
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
    ('pCompanyMaster', 'pCompanyMaster')) v
WHERE NOT EXISTS (SELECT 1 FROM linktable l WHERE l.tablename = v.column1);

-- Captions of the entry browser's grid, in grid column order. The grid shows exactly these
-- seven columns; the employee number caption belongs to the details layout (table 61), which
-- the browser must not pick up.
INSERT OR IGNORE INTO ptables (tableid, tablename) VALUES
    (60, 'paPayAccLinkHeader'),
    (61, 'paPayAccLinkDetails');
INSERT OR IGNORE INTO ptablecolumns (tableid, columnid, columnheader, columnname) VALUES
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
