"""The package's surface: the type stub matches the module, and everything public
is documented, so that help(qmdb) is useful."""

import ast
import inspect
import os

import qmdb


def parameters(function):
    """Parameter names without self ('*' before keyword-only ones, '**' a catch-all) of a
    stub's def, or of a function whose signature is parsed as a def."""
    if not isinstance(function, ast.FunctionDef):
        try:
            text = function.__name__ + str(inspect.signature(function))
        except ValueError:  # native: pybind11 writes the signature as the first doc line
            text = function.__doc__.splitlines()[0]
        function = ast.parse(f"def {text}: ...").body[0]
    args = function.args
    names = [a.arg for a in args.posonlyargs + args.args]
    names += ["*"] + [a.arg for a in args.kwonlyargs] if args.kwonlyargs else []
    return [n for n in names + ["**"] * bool(args.kwarg) if n != "self"]


def same_parameters(stub, runtime):
    """A runtime catch-all (**options) may be spelled out as keyword-only in the stub."""
    if runtime[-1:] == ["**"] and stub[-1:] != ["**"]:
        fixed = runtime[:-1]
        return stub[:len(fixed)] == fixed and (len(stub) == len(fixed) or "*" in stub)
    return stub == runtime


def public(names):
    return {n for n in names if not n.startswith("_")}


def runtime_members(cls):
    """The public members the package adds to a class (instance attributes are
    annotated in the class), not those of foreign bases."""
    ours = [base for base in cls.__mro__ if base.__module__ == "qmdb"]
    foreign = set().union(*(dir(b) for b in cls.__mro__ if b not in ours))
    annotated = set().union(*(b.__dict__.get("__annotations__", {}) for b in ours))
    return public((set(dir(cls)) | annotated) - foreign)


def test_stub_matches_the_module():
    with open(os.path.join(os.path.dirname(qmdb.__file__), "__init__.pyi"), encoding="utf-8") as f:
        tree = ast.parse(f.read())
    top = {n.name: n for n in tree.body if isinstance(n, (ast.ClassDef, ast.FunctionDef))}
    top.update((n.target.id, n) for n in tree.body if isinstance(n, ast.AnnAssign))
    assert public(top) == set(qmdb.__all__) | {"api_version"}
    for name in ("open", "memory", "load_xml"):
        assert same_parameters(parameters(top[name]), parameters(getattr(qmdb, name))), name
    checked, classes = 0, {}
    for node in (n for n in tree.body if isinstance(n, ast.ClassDef)):
        members = {}  # inherited ones from stub classes included
        for base in node.bases:
            members.update(classes.get(getattr(base, "id", None), {}))
        members.update((getattr(i, "name", None) or i.target.id, i) for i in node.body
                       if isinstance(i, (ast.FunctionDef, ast.AnnAssign)))
        classes[node.name] = members
        cls = getattr(qmdb, node.name)
        assert public(members) == runtime_members(cls), node.name
        for name, member in members.items():
            if isinstance(member, ast.FunctionDef) and public([name]) and callable(
                    inspect.getattr_static(cls, name, None)) and not any(
                        getattr(d, "id", None) == "property" for d in member.decorator_list):
                assert same_parameters(parameters(member), parameters(getattr(cls, name))), \
                    f"{node.name}.{name}"
                checked += 1
    assert checked > 30


def documentation(member):
    lines = (inspect.getdoc(member) or "").splitlines()
    if callable(member) and not isinstance(member, type) and lines and \
            lines[0].startswith(getattr(member, "__name__", "") + "("):
        lines = lines[1:]  # a native function's doc opens with its signature
    return "\n".join(lines).strip()


def test_everything_public_is_documented():
    undocumented = [] if "documents larger than memory" in documentation(qmdb) else ["qmdb"]
    for name in qmdb.__all__:
        obj = getattr(qmdb, name)
        undocumented += [name] if not documentation(obj) else []
        for member_name in runtime_members(obj) if isinstance(obj, type) else ():
            member = inspect.getattr_static(obj, member_name, None)
            if member is None:  # an instance attribute: its class says what it is
                documented = any(f"``{member_name}``" in documentation(base)
                                 for base in obj.__mro__ if base.__module__ == "qmdb")
            else:
                documented = bool(documentation(member))
            undocumented += [] if documented else [f"{name}.{member_name}"]
    assert undocumented == []
