"""panel_schema.py SCHEMA DOCUMENTS: says of each document, one a line, whether the schema takes it
("good" or "wrong"), then which of the schema's fields the first document does not have."""
import json
import sys

import jsonschema


def keys(node, inside=None):
    """All keys of all objects, or only of those that are the value of `inside`."""
    found = set()
    for key, child in node.items() if isinstance(node, dict) else enumerate(node or []):
        if isinstance(node, dict) and inside is None:
            found.add(key)
        if isinstance(child, (dict, list)):
            found |= keys(child, inside)
        if inside is not None and key == inside:
            found |= set(child)
    return found


schema = json.load(open(sys.argv[1]))
jsonschema.Draft7Validator.check_schema(schema)
validator = jsonschema.Draft7Validator(schema)
documents = [json.loads(line) for line in open(sys.argv[2])]
for document in documents:
    print("good" if validator.is_valid(document) else "wrong")
print("not in the first:", *sorted(keys(schema, "properties") - keys(documents[0])))
