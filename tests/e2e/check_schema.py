#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Checks that standard input is a JSON document of a form.

    check_schema.py SCHEMA-FOLDER

The form is the schema whose name the document gives. Exits with 1, and says
why, when the document has another form."""

import json
import os
import sys

import jsonschema


def main(folder):
    document = json.load(sys.stdin)
    name = document["schema"].split(".")[1].split("/")[0]
    with open(
        os.path.join(folder, name + ".schema.json"), encoding="utf-8"
    ) as file:
        schema = json.load(file)
    jsonschema.Draft202012Validator.check_schema(schema)
    jsonschema.Draft202012Validator(schema).validate(document)


if __name__ == "__main__":
    try:
        main(sys.argv[1])
    except (jsonschema.ValidationError, KeyError, ValueError) as e:
        sys.exit(str(e))
