-- The embedded database's free texts get the limit of their SQL Server columns here. On SQL
-- Server they have been nvarchar(255) from the first release, so there is nothing to change
-- and the script only records its number, so that both backends count alike.
SET NOCOUNT ON;
GO
UPDATE paPayAccLinkSchema SET Version = 3;
GO
