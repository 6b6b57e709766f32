#!/usr/bin/env python3
"""Validates report documents against the published format in schemas/.

    validate_report.py [--schemas DIR] [--schema NAME] FILE...

Each FILE is validated against NAME (a file of the schema folder, default
report.schema.json, which accepts any report and picks its kind from the header).
Every violation is printed on its own line as

    FILE: PATH: MESSAGE [rule KEYWORD at SCHEMA_PATH]

where PATH names the member ($.routerHardware.deviceInfo.macAddress; for an unknown
member, the member itself). Exit status: 0 every file is valid, 1 a file is not, 2 the
files or schemas could not be read.
"""
import argparse
import json
import os
import sys

try:
    import jsonschema
except ImportError as e:  # python3-jsonschema is installed by scripts/install-deps.sh
    print("validate_report: python3-jsonschema is missing (%s)" % e, file=sys.stderr)
    sys.exit(2)

DEFAULT_SCHEMAS = os.path.join(os.path.dirname(os.path.abspath(__file__)), os.pardir, "schemas")


def load_schemas(folder, check=False):
    """Every *.schema.json below FOLDER, by file name relative to it and by $id; with
    CHECK, each schema is first checked against the draft 2020-12 meta-schema."""
    by_name, by_id = {}, {}
    for dirpath, _, files in os.walk(folder):
        for f in sorted(files):
            if not f.endswith(".schema.json"):
                continue
            path = os.path.join(dirpath, f)
            with open(path, encoding="utf-8") as fh:
                schema = json.load(fh)
            if check:
                jsonschema.Draft202012Validator.check_schema(schema)
            by_name[os.path.relpath(path, folder)] = schema
            by_id[schema["$id"]] = schema
    return by_name, by_id


def make_validator(schema, by_id):
    """A draft 2020-12 validator of SCHEMA that resolves references between the schema
    files (Debian's python3-jsonschema uses a resolver store, later versions a
    registry)."""
    try:
        from referencing import Registry, Resource
    except ImportError:
        resolver = jsonschema.RefResolver.from_schema(schema, store=dict(by_id))
        return jsonschema.Draft202012Validator(schema, resolver=resolver)
    registry = Registry().with_resources((i, Resource.from_contents(s)) for i, s in by_id.items())
    return jsonschema.Draft202012Validator(schema, registry=registry)


def json_path(parts):
    out = "$"
    for p in parts:
        out += "[%d]" % p if isinstance(p, int) else "." + str(p)
    return out


def leaf_errors(error):
    """The innermost failures under ERROR: an if/then or allOf failure is shown as the
    rules that actually broke, not as the branch that contained them."""
    if error.context:
        for sub in error.context:
            yield from leaf_errors(sub)
    else:
        yield error


def unexpected_members(error):
    """Names of the unknown members an additionalProperties/unevaluatedProperties
    failure is about."""
    if error.validator not in ("additionalProperties", "unevaluatedProperties"):
        return []
    if not isinstance(error.instance, dict):
        return []
    known = set(error.schema.get("properties", {})) if isinstance(error.schema, dict) else set()
    names = [n for n in error.instance if n not in known]
    # For unevaluatedProperties the known names live in other subschemas: keep only the
    # names the message quotes.
    return [n for n in names if repr(n) in error.message] or names


def short_message(error):
    """The library's message, with a large value it quotes replaced by its size."""
    message, quoted = error.message, repr(error.instance)
    if len(quoted) > 80 and quoted in message:
        if isinstance(error.instance, dict):
            what = "the object (%d members)" % len(error.instance)
        elif isinstance(error.instance, list):
            what = "the array (%d items)" % len(error.instance)
        else:
            what = "the value"
        message = message.replace(quoted, what)
    return message


def member_at(document, path):
    for p in path:
        try:
            document = document[p]
        except (KeyError, IndexError, TypeError):
            return None
    return document


def describe(error, document):
    rule = "%s at %s" % (error.validator, "/".join(str(p) for p in error.schema_path))
    if error.validator is None:
        # A member forbidden by a `false` schema: the library names the object holding
        # it; name the member.
        holder = member_at(document, error.absolute_path)
        names = [k for k, v in holder.items() if v == error.instance] if isinstance(holder, dict) else []
        rule = "false at %s" % "/".join(str(p) for p in error.schema_path)
        if names:
            return [
                "%s: member %r is not allowed here [rule %s]" % (json_path(list(error.absolute_path) + [n]), n, rule)
                for n in names
            ]
    members = unexpected_members(error)
    if members:
        return [
            "%s: unknown member %r is not allowed [rule %s]" % (json_path(list(error.absolute_path) + [m]), m, rule)
            for m in members
        ]
    return ["%s: %s [rule %s]" % (json_path(error.absolute_path), short_message(error), rule)]


def violations(validator, document):
    lines = []
    for error in sorted(validator.iter_errors(document), key=lambda e: list(map(str, e.absolute_path))):
        for leaf in leaf_errors(error):
            lines.extend(describe(leaf, document))
    return lines


def main(argv):
    ap = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    ap.add_argument("--schemas", default=DEFAULT_SCHEMAS, help="schema folder")
    ap.add_argument("--schema", default="report.schema.json", help="schema file name in the folder")
    ap.add_argument("files", nargs="+")
    args = ap.parse_args(argv)
    try:
        by_name, by_id = load_schemas(args.schemas)
    except (OSError, ValueError, jsonschema.SchemaError) as e:
        print("validate_report: cannot load the schemas in %s: %s" % (args.schemas, e), file=sys.stderr)
        return 2
    if args.schema not in by_name:
        print("validate_report: no schema %s in %s" % (args.schema, args.schemas), file=sys.stderr)
        return 2
    validator = make_validator(by_name[args.schema], by_id)
    status = 0
    for f in args.files:
        try:
            with open(f, encoding="utf-8") as fh:
                document = json.load(fh)
        except (OSError, ValueError) as e:
            print("%s: not a readable JSON document: %s" % (f, e))
            status = max(status, 2)
            continue
        problems = violations(validator, document)
        for p in problems:
            print("%s: %s" % (f, p))
        if problems:
            status = max(status, 1)
    return status


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
