-- Is this the folder where deleted notes wait? Notes names it in the owner's language, and the
-- comparison ignores case.
on isTrashFolder(folderName)
	set trashNames to {"Recently Deleted", "Supprimées récemment", "Suppressions récentes", "Eliminadas recientemente", "Zuletzt gelöscht", "Eliminati di recente", "Eliminate di recente", "Onlangs verwijderd", "Recentemente eliminadas", "Apagados recentemente"}
	return trashNames contains folderName
end isTrashFolder
