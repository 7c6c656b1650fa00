# shellcheck shell=bash
# demo-edits.sh: what scripts/demo edits in sandbox/mailboxes/sample.json after the snapshot, in this order; to be sourced
# by it. Each edit is a title, which says what a person sees by it, and the words behind "scripts/sandboxctl"
# (docs/sandbox-control.md). What arrives of each stands in demo-transcript.txt.

edit "A contact is added: it is sent with all that it has." \
    add contact 'Mailbox - Mara Lindqvist/Contacts' --name 'Мария Левченко' --given 'Мария' --surname 'Левченко' \
    --email 'maria.levchenko@example.com' --mobile '+44 7700 900650'

edit "A contact is edited: it is sent anew, as it is now." \
    edit contact 'Mailbox - Mara Lindqvist/Contacts/Åsa Öberg' --mobile '+46 70 174 06 99' --clear business

edit "A contact with an Exchange address is edited: the address is sent in its SMTP form." \
    edit contact 'Mailbox - Mara Lindqvist/Contacts/Chidi Okafor' --company 'Example Freight'

edit "A contact moves to another contact folder and gets a new identifier: one is gone, another has come." \
    move 'Mailbox - Mara Lindqvist/Contacts/王小明' 'Mailbox - Mara Lindqvist/Contacts/Suppliers'

edit "A contact moves and keeps its identifier: it has changed, as its folder is another." \
    move 'Mailbox - Mara Lindqvist/Contacts/김소연' 'Mailbox - Mara Lindqvist/Contacts/New contacts' --keep-id

edit "A contact moves out of the contact folders: for the host it is gone." \
    move 'Mailbox - Mara Lindqvist/Contacts/Ingrid Solheim' 'Mailbox - Mara Lindqvist/Inbox'

edit "It comes back, to another contact folder: for the host it is a new one." \
    move 'Mailbox - Mara Lindqvist/Inbox/Ingrid Solheim' 'Mailbox - Mara Lindqvist/Imported 2023'

edit "A contact is copied to another store: the copy is sent." \
    copy 'Mailbox - Mara Lindqvist/Contacts/𠮷田 春子' 'Mailbox - Sales desk/Kontakte'

edit "A contact moves to another store: one store reports that it has come, the other that it is gone." \
    move 'Mailbox - Mara Lindqvist/Contacts/João Brandão' 'Mailbox - Sales desk/Kontakte/Trade fair'

edit "A contact is deleted." \
    delete 'Mailbox - Mara Lindqvist/Contacts/Only A. Name'

edit "A contact folder comes with two contacts in it: both are sent, the folder itself is not." \
    add folder 'Mailbox - Mara Lindqvist' Chorale --class IPF.Contact --json-text \
    '{"messages": [{"displayName": "Ana Ferreira"}, {"displayName": "Θάλεια", "email": "thalia@example.org"}]}'

edit "From then on that folder is watched like the others." \
    add contact 'Mailbox - Mara Lindqvist/Chorale' --name '佐藤 花' --home '+44 1632 960990'

edit "Several edits in one batch: deletions are sent first, then additions, then changes." batch - <<'END'
[
  { "do": "editContact", "contact": "Mailbox - Sales desk/Kontakte/Zoë Fontaine",
    "set": { "mobilePhone": "+44 7700 900952" } },
  { "do": "addContact", "folder": "Mailbox - Sales desk/Kontakte",
    "contact": { "displayName": "Renée Čapková", "company": "Example Trading" } },
  { "do": "delete", "object": "Mailbox - Sales desk/Kontakte/Trade fair/Stand 12" },
  { "do": "delete", "object": "Mailbox - Sales desk/Kontakte/Ahmed El-Masry" }
]
END

edit "An e-mail arrives in the inbox: that is no contact folder." \
    add contact 'Mailbox - Mara Lindqvist/Inbox' --class IPM.Note --name 'Re: Lunch'

edit "A contact comes into a hidden folder: what is hidden is not sent." \
    add contact 'Mailbox - Mara Lindqvist/Suggested contacts' --name 'Seen by nobody either'

edit "A contact in the public folders is edited: of these, only the snapshot is sent." \
    edit contact 'Public Folders/Company directory/Reception' --fax '+44 1632 960009'

edit "A contact folder is hidden: the agent takes no notice of that yet." \
    edit folder 'Mailbox - Mara Lindqvist/Contacts/Suppliers' --hide

edit "Once a folder is deleted, the hidden one counts as gone, too, with the one below it." \
    delete 'Mailbox - Mara Lindqvist/Chorale'

edit "What changes in a folder that has been reported as gone is sent no more." \
    edit contact 'Mailbox - Mara Lindqvist/Contacts/Suppliers/Björn Eriksen' --business '+44 1632 960777'
