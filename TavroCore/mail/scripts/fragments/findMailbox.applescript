-- An account that is not there is an error of Mail itself.
set theAccount to (first account whose name is acctName)
set mb to my mailboxNamed(theAccount, mbName)
if mb is missing value then error "mailbox not found: " & mbName
