"""The package's surface: the type stub matches the module, and everything public
is documented, so that help(qmdb) is useful."""

import ast
import inspect
import os
import pydoc

import qmdb

STUB = os.path.join(os.path.dirname(qmdb.__file__), "__init__.pyi")


def stub_tree():
    with open(STUB, encoding="utf-8") as f:
        return ast.parse(f.read())


def split_top_level(text):
    """Splits at commas outside brackets: 'a: Dict[str, int], b' -> ['a: Dict[str, int]', 'b']."""
    parts, depth, current = [], 0, ""
    for c in text:
        depth += c in "[(" and 1 or c in "])" and -1 or 0
        if c == "," and depth == 0:
            parts.append(current)
            current = ""
        else:
            current += c
    return [p.strip() for p in parts + [current] if p.strip()]


def runtime_parameters(function):
    """Parameter names without self: '*' marks keyword-only ones, '**' a catch-all."""
    try:
        signature = inspect.signature(function)
    except ValueError:  # native: pybind11 writes the signature as the first doc line
        line = function.__doc__.splitlines()[0]
        inner = line[line.index("(") + 1:line.rindex(")")]
        names = [p.split(":")[0].split("=")[0].strip() for p in split_top_level(inner)]
    else:
        names, star = [], False
        for p in signature.parameters.values():
            if p.kind == p.KEYWORD_ONLY and not star:
                names.append("*")
                star = True
            names.append("**" + p.name if p.kind == p.VAR_KEYWORD else p.name)
    return ["**" if n.startswith("**") else n for n in names if n != "self"]


def stub_parameters(function):
    args = function.args
    names = [a.arg for a in args.posonlyargs + args.args]
    if args.kwonlyargs:
        names += ["*"] + [a.arg for a in args.kwonlyargs]
    if args.kwarg:
        names.append("**")
    return [n for n in names if n != "self"]


def same_parameters(stub, runtime):
    """Equal lists; a runtime catch-all (**options) may be spelled out in the stub as
    keyword-only parameters."""
    if runtime[-1:] == ["**"] and stub[-1:] != ["**"]:
        fixed = runtime[:-1]
        return stub[:len(fixed)] == fixed and (len(stub) == len(fixed) or "*" in stub)
    return stub == runtime


def stub_classes(tree):
    """Each class of the stub with its members, inherited ones from stub classes included."""
    classes = {}
    for node in tree.body:
        if isinstance(node, ast.ClassDef):
            members = {}
            for base in node.bases:
                if isinstance(base, ast.Name) and base.id in classes:
                    members.update(classes[base.id])
            for item in node.body:
                if isinstance(item, ast.FunctionDef):
                    members[item.name] = item
                elif isinstance(item, ast.AnnAssign):
                    members[item.target.id] = item
            classes[node.name] = members
    return classes


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
    tree = stub_tree()
    top = {n.name for n in tree.body if isinstance(n, (ast.ClassDef, ast.FunctionDef))}
    top |= {n.target.id for n in tree.body if isinstance(n, ast.AnnAssign)}
    assert public(top) == set(qmdb.__all__) | {"api_version"}
    for name in ("open", "memory", "load_xml"):
        stubbed = next(n for n in tree.body if isinstance(n, ast.FunctionDef) and n.name == name)
        assert same_parameters(stub_parameters(stubbed), runtime_parameters(getattr(qmdb, name))), \
            name
    checked = 0
    for cls_name, members in stub_classes(tree).items():
        cls = getattr(qmdb, cls_name)
        assert public(members) == runtime_members(cls), cls_name
        for name, member in members.items():
            runtime = inspect.getattr_static(cls, name, None)
            if isinstance(member, ast.FunctionDef) and callable(runtime) and public([name]) and not any(
                    isinstance(d, ast.Name) and d.id == "property" for d in member.decorator_list):
                assert same_parameters(stub_parameters(member),
                                       runtime_parameters(getattr(cls, name))), f"{cls_name}.{name}"
                checked += 1
    assert checked > 30


def documentation(member):
    doc = inspect.getdoc(member) or ""
    if callable(member) and not isinstance(member, type):
        # a native function's doc opens with its signature
        name = getattr(member, "__name__", "")
        lines = doc.splitlines()
        if lines and lines[0].startswith(name + "("):
            doc = "\n".join(lines[1:])
    return doc.strip()


def test_everything_public_is_documented():
    undocumented = []
    for name in qmdb.__all__:
        obj = getattr(qmdb, name)
        if not documentation(obj):
            undocumented.append(name)
        if not isinstance(obj, type):
            continue
        for member_name in runtime_members(obj):
            member = inspect.getattr_static(obj, member_name, None)
            if member is None:  # an instance attribute: its class says what it is
                documented = any(f"``{member_name}``" in documentation(base)
                                 for base in obj.__mro__ if base.__module__ == "qmdb")
            else:
                documented = bool(documentation(member))
            if not documented:
                undocumented.append(f"{name}.{member_name}")
    assert undocumented == []
    text = pydoc.render_doc(qmdb, renderer=pydoc.plaintext)
    for expected in ("documents larger than memory", "with qmdb.load_xml(", "class Node(Object)",
                     "Adds a new text as the last child", "class LockedError(Error)",
                     "Opens the database file"):
        assert expected in text, expected
