"""The package's surface: the type stub matches the module, and everything public
is documented, so that help(qmdb) is useful."""

import ast
import inspect
import os

import qmdb

STUB = os.path.join(os.path.dirname(qmdb.__file__), "__init__.pyi")


def runtime_parameters(function):
    """Parameter names without self: '*' marks keyword-only ones, '**' a catch-all."""
    try:
        signature = inspect.signature(function)
    except ValueError:  # native: pybind11 writes the signature as the first doc line
        line = function.__doc__.splitlines()[0]
        inner, depth, names, current = line[line.index("(") + 1:line.rindex(")")], 0, [], ""
        for c in inner + ",":  # split at commas outside brackets
            depth += c in "[(" and 1 or c in "])" and -1 or 0
            if c == "," and depth == 0:
                names.append(current.split(":")[0].split("=")[0].strip())
                current = ""
            else:
                current += c
    else:
        names = [("**" if p.kind == p.VAR_KEYWORD else "") + p.name
                 for p in signature.parameters.values()]
        keyword_only = [p.kind == p.KEYWORD_ONLY for p in signature.parameters.values()]
        if True in keyword_only:
            names.insert(keyword_only.index(True), "*")
    return ["**" if n.startswith("**") else n for n in names if n and n != "self"]


def stub_parameters(function):
    args = function.args
    names = [a.arg for a in args.posonlyargs + args.args]
    names += ["*"] + [a.arg for a in args.kwonlyargs] if args.kwonlyargs else []
    return [n for n in names + ["**"] * bool(args.kwarg) if n != "self"]


def same_parameters(stub, runtime):
    """Equal lists; a runtime catch-all (**options) may be spelled out in the stub as
    keyword-only parameters."""
    if runtime[-1:] == ["**"] and stub[-1:] != ["**"]:
        fixed = runtime[:-1]
        return stub[:len(fixed)] == fixed and (len(stub) == len(fixed) or "*" in stub)
    return stub == runtime


def public(names):
    return {n for n in names if not n.startswith("_")}


def runtime_members(cls):
    """The public members the package adds to a class, not those of foreign bases."""
    foreign, annotated = set(), set()
    for base in cls.__mro__:
        if base.__module__ != "qmdb":
            foreign |= set(dir(base))
        else:  # instance attributes, such as an Error's code, are declared in the class
            annotated |= set(base.__dict__.get("__annotations__", {}))
    return public((set(dir(cls)) | annotated) - foreign)


def test_stub_matches_the_module():
    with open(STUB, encoding="utf-8") as f:
        tree = ast.parse(f.read())
    top = {n.name: n for n in tree.body if isinstance(n, (ast.ClassDef, ast.FunctionDef))}
    top.update((n.target.id, n) for n in tree.body if isinstance(n, ast.AnnAssign))
    assert public(top) == set(qmdb.__all__) | {"api_version"}
    for name in ("open", "memory", "load_xml"):
        assert same_parameters(stub_parameters(top[name]), runtime_parameters(getattr(qmdb, name))), \
            name
    checked, classes = 0, {}
    for node in (n for n in tree.body if isinstance(n, ast.ClassDef)):
        members = {}  # inherited ones from stub classes included
        for base in node.bases:
            members.update(classes.get(getattr(base, "id", None), {}))
        for item in node.body:
            if isinstance(item, (ast.FunctionDef, ast.AnnAssign)):
                members[getattr(item, "name", None) or item.target.id] = item
        classes[node.name] = members
        cls = getattr(qmdb, node.name)
        assert public(members) == runtime_members(cls), node.name
        for name, member in members.items():
            if isinstance(member, ast.FunctionDef) and callable(inspect.getattr_static(
                    cls, name, None)) and public([name]) and not any(
                        getattr(d, "id", None) == "property" for d in member.decorator_list):
                assert same_parameters(stub_parameters(member),
                                       runtime_parameters(getattr(cls, name))), f"{node.name}.{name}"
                checked += 1
    assert checked > 30


def documentation(member):
    doc = inspect.getdoc(member) or ""
    lines = doc.splitlines()
    if callable(member) and not isinstance(member, type) and lines and \
            lines[0].startswith(getattr(member, "__name__", "") + "("):
        doc = "\n".join(lines[1:])  # a native function's doc opens with its signature
    return doc.strip()


def test_everything_public_is_documented():
    undocumented = [] if "documents larger than memory" in documentation(qmdb) else ["qmdb"]
    for name in qmdb.__all__:
        obj = getattr(qmdb, name)
        if not documentation(obj):
            undocumented.append(name)
        for member_name in runtime_members(obj) if isinstance(obj, type) else ():
            member = inspect.getattr_static(obj, member_name, None)
            if member is None:  # an instance attribute: its class says what it is
                documented = any(f"``{member_name}``" in documentation(base)
                                 for base in obj.__mro__ if base.__module__ == "qmdb")
            else:
                documented = bool(documentation(member))
            if not documented:
                undocumented.append(f"{name}.{member_name}")
    assert undocumented == []
