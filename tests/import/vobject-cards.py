"""Reads people as JSON from standard input and writes their vCards by python3-vobject."""
import json
import sys

import vobject

TYPES = {
    'businessPhone': ['WORK', 'VOICE'],
    'homePhone': ['HOME', 'VOICE'],
    'mobilePhone': ['CELL'],
    'businessFax': ['WORK', 'FAX'],
}

for person in json.load(sys.stdin):
    card = vobject.vCard()
    card.add('fn').value = person['displayName']
    card.add('n').value = vobject.vcard.Name(
        family=person['surname'], given=person['givenName'], additional=person['middleName'])
    if person['company']:
        card.add('org').value = [person['company'], 'A unit']
    if person['email']:
        card.add('email').value = person['email']
    for field, types in TYPES.items():
        if person[field]:
            number = card.add('tel')
            number.value = person[field]
            number.type_param = types
    sys.stdout.buffer.write(card.serialize().encode('utf-8'))
