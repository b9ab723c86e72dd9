#!/usr/bin/env python3
"""Mutation check: how many single faults in the library do the suites catch?

Makes single-fault copies of the library's sources (dal_storage/src,
platform/src apart from the Win32 backend, which a native build does not
compile): a comparison flipped, an integer constant moved by one, a condition
negated, a + made a - (and back), a statement dropped. Each mutant is applied
alone in a scratch copy of the tree, rebuilt incrementally (Ninja, plain Debug,
ccache, no sanitizers) and the suites run under a time limit, fastest first,
stopping at the first that fails. A mutant that does not compile does not
count.

Only the suites that can see a mutant run it: a coverage build, made once per
state of the tree, records which suite executes which line of the library. A
line that no suite executes needs no run (its mutant survives once it
compiles); a line that holds no code of its own in the coverage data (a
constant, a declaration) is run against every suite. Code that only a child
killed with SIGKILL executes leaves no coverage; every such path here is also
taken by its parent. The order of the mutants comes from a hash of the seed and of what each
mutant is (file, change, text of its line, which occurrence), so a fixed seed
and sample size pick the same mutants again, and mostly the same ones after
unrelated lines of the file changed.

    nice -n 10 scripts/mutate.py --seed 1 --sample 30

Writes <work>/report.json and <work>/report.txt: per file the mutants killed
out of those run, and each survivor with its file, line and change. Python 3
standard library only; needs cmake, ninja, ccache and the suites' build deps.
"""
import argparse
import hashlib
import io
import json
import os
import re
import shutil
import signal
import subprocess
import sys
import tarfile
import time

TOP = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
SOURCE_DIRS = ("dal_storage/src/", "platform/src/")
SKIP_DIRS = ("platform/src/win32/",)  # not compiled by a native build

# ---------------------------------------------------------------------------
# Reading C++ lines: literals and comments blanked, positions kept.


def mask_lines(text):
    """The lines with comments and the insides of literals made spaces.
    Quotes stay, so a neighbouring string can still be seen."""
    out, in_block = [], False
    for line in text.split("\n"):
        chars, i, n = list(line), 0, len(line)
        while i < n:
            if in_block:
                end = line.find("*/", i)
                stop = n if end < 0 else end + 2
                chars[i:stop] = " " * (stop - i)
                in_block = end < 0
                i = stop
            elif line.startswith("//", i):
                chars[i:] = " " * (n - i)
                break
            elif line.startswith("/*", i):
                in_block = True
            elif line[i] in "\"'":
                if line[i] == "'" and i > 0 and line[i - 1].isalnum():
                    i += 1  # a digit separator such as 1'000
                    continue
                quote, j = line[i], i + 1
                while j < n and line[j] != quote:
                    j += 2 if line[j] == "\\" else 1
                chars[i + 1:min(j, n)] = " " * (min(j, n) - i - 1)
                i = j + 1
            else:
                i += 1
        out.append("".join(chars))
    return out


def matching_paren(masked, open_at):
    depth = 0
    for i in range(open_at, len(masked)):
        if masked[i] == "(":
            depth += 1
        elif masked[i] == ")":
            depth -= 1
            if depth == 0:
                return i
    return -1


# ---------------------------------------------------------------------------
# The mutation operators. Each yields (kind, column, old text, new text).

FLIP = {"==": "!=", "!=": "==", "<": ">", ">": "<", "<=": ">=", ">=": "<="}
ARITH = {"+": "-", "-": "+", "+=": "-=", "-=": "+="}
CONTROL = re.compile(r"\b(if|while)\s*\(")
INTEGER = re.compile(r"(?<![\w.'])(\d+)(?![\w.'])")
STATEMENT_STARTS = (
    re.compile(r"^\s*[A-Za-z_][\w:]*\s*\("),                           # Call(...);
    re.compile(r"^\s*[A-Za-z_*][\w.\[\]>*-]*?(\.|->)[A-Za-z_]\w*\s*\("),  # obj.Call(...);
    re.compile(r"^\s*\*?[A-Za-z_][\w.\[\]>-]*\s*(=|\+=|-=|\|=|&=|<<)[^=]"),  # x = ...; out << ...;
    re.compile(r"^\s*(\+\+|--)[A-Za-z_]"),
    re.compile(r"^\s*[A-Za-z_][\w.\[\]>-]*(\+\+|--)\s*;"),
    re.compile(r"^\s*(throw\b|break\s*;|continue\s*;|return\s*;)"),
)


def operators_on(masked, raw):
    code = masked.strip()
    if not code or code.startswith("#") or code.startswith("static_assert"):
        return
    # Comparisons and + / - between spaces: templates, pointers and unary
    # signs are written without them.
    for m in re.finditer(r"(?<=\s)(==|!=|<=|>=|<|>|\+=|-=|\+|-)(?=\s)", masked):
        op = m.group(1)
        if op in FLIP:
            yield "flip", m.start(), op, FLIP[op]
        else:
            before, after = masked[:m.start()].rstrip(), masked[m.end():].lstrip()
            if op == "+" and (before.endswith('"') or after.startswith('"')):
                continue  # text joined to text: a - would not compile
            yield "arith", m.start(), op, ARITH[op]
    for m in INTEGER.finditer(masked):
        if masked[:m.start()].rstrip().endswith(("[", "<")):
            continue  # sizes of arrays and template arguments
        value = int(m.group(1))
        if value > 0:
            yield "const", m.start(), m.group(1), str(value - 1)
        yield "const", m.start(), m.group(1), str(value + 1)
    for m in CONTROL.finditer(masked):
        open_at = m.end() - 1
        close_at = matching_paren(masked, open_at)
        if close_at < 0 or ";" in masked[open_at:close_at]:
            continue  # not closed on the line, or an if with an initialiser
        yield "negate", open_at + 1, raw[open_at + 1:close_at], "!(" + raw[open_at + 1:close_at] + ")"


def statement_drop(masked, previous):
    """A whole statement on one line that a fault could leave out."""
    code = masked.strip()
    if not code.endswith(";") or code.count("(") != code.count(")") or code.count("{") != code.count("}"):
        return False
    if not previous.endswith((";", "{", "}", ")", ":")) and previous != "else":
        return False  # the line continues a statement
    if re.search(r"(=\s*(delete|default)|\bconst|\boverride)\s*;$", code):
        return False  # a declaration in a class
    return any(p.match(masked) for p in STATEMENT_STARTS)


def native_lines(masked):
    """False for each line inside a Windows-only conditional: the native build
    never compiles it, so its mutants would survive for nothing."""
    windows_if = re.compile(r"#\s*(ifdef\s+_WIN32|if\s+defined\s*\(?\s*_WIN32\s*\)?\s*$)")
    not_windows_if = re.compile(r"#\s*(ifndef\s+_WIN32|if\s+!\s*defined\s*\(?\s*_WIN32\s*\)?\s*$)")
    stack, active = [], []  # per open conditional: is its current branch Windows-only?
    for line in masked:
        code = line.strip()
        if windows_if.match(code):
            stack.append(True)
        elif not_windows_if.match(code):
            stack.append(False)
        elif re.match(r"#\s*if", code):
            stack.append(None)
        elif re.match(r"#\s*(else|elif)", code) and stack and stack[-1] is not None:
            stack[-1] = not stack[-1]
        elif re.match(r"#\s*endif", code) and stack:
            stack.pop()
        active.append(not any(branch is True for branch in stack))
    return active


def mutants_of(path, text):
    masked = mask_lines(text)
    raw = text.split("\n")
    native = native_lines(masked)
    previous = ""
    for number, (m, r) in enumerate(zip(masked, raw), 1):
        if not native[number - 1]:
            continue
        seen = {}
        for kind, column, old, new in operators_on(m, r):
            mutated = r[:column] + new + r[column + len(old):]
            key = (kind, old, new)
            seen[key] = seen.get(key, 0) + 1
            yield {"file": path, "line": number, "kind": kind, "column": column,
                   "change": "%s -> %s" % (old, new), "original": r, "mutated": mutated,
                   "occurrence": seen[key]}
        if statement_drop(m, previous):
            indent = r[:len(r) - len(r.lstrip())]
            yield {"file": path, "line": number, "kind": "drop", "column": len(indent),
                   "change": "statement dropped", "original": r, "mutated": indent + "{}",
                   "occurrence": 1}
        if m.strip():
            previous = m.strip()


def order_key(seed, mutant):
    what = "%s|%s|%s|%s|%s|%d" % (seed, mutant["file"], mutant["kind"], mutant["change"],
                                  mutant["original"].strip(), mutant["occurrence"])
    return hashlib.sha256(what.encode()).hexdigest()


# ---------------------------------------------------------------------------
# The scratch tree and its build.


def run(cmd, cwd, limit=None, env=None):
    """Runs cmd in a session of its own; a run past `limit` is killed whole."""
    proc = subprocess.Popen(cmd, cwd=cwd, env=env, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                            start_new_session=True)
    try:
        out, _ = proc.communicate(timeout=limit)
        return proc.returncode, out.decode(errors="replace")
    except subprocess.TimeoutExpired:
        os.killpg(proc.pid, signal.SIGKILL)
        out, _ = proc.communicate()
        return None, out.decode(errors="replace")
    except KeyboardInterrupt:  # also SIGTERM, see main: nothing of the run stays behind
        os.killpg(proc.pid, signal.SIGKILL)
        proc.communicate()
        raise


def tree_files(source, commit):
    """(path, bytes) of every tracked file: as committed at `commit`, or as
    it stands in the working tree."""
    if commit:
        archive = subprocess.run(["git", "archive", "--format=tar", commit], cwd=source, check=True,
                                 stdout=subprocess.PIPE).stdout
        with tarfile.open(fileobj=io.BytesIO(archive)) as tar:
            for member in tar.getmembers():
                if member.isfile():
                    yield member.name, tar.extractfile(member).read()
        return
    listed = subprocess.run(["git", "ls-files", "-z"], cwd=source, check=True,
                            stdout=subprocess.PIPE).stdout.decode().split("\0")
    for rel in sorted(filter(None, listed)):
        path = os.path.join(source, rel)
        if os.path.isfile(path):
            with open(path, "rb") as f:
                yield rel, f.read()


def sync_tree(files, scratch):
    """Writes the files into scratch, touching only those whose content
    differs, so that the scratch build stays incremental from one run to the
    next. Returns a digest of what the suites' build reads."""
    digest = hashlib.sha256()
    for rel, data in sorted(files):
        dst = os.path.join(scratch, rel)
        if not rel.startswith(("scripts/", "docs/", "bench/", "fuzz/")):
            digest.update(rel.encode() + b"\0" + data)
        if os.path.isfile(dst):
            with open(dst, "rb") as f:
                if f.read() == data:
                    continue
        os.makedirs(os.path.dirname(dst), exist_ok=True)
        with open(dst, "wb") as f:
            f.write(data)
    return digest.hexdigest()


def write(path, text):
    with open(path, "w") as f:
        f.write(text)


class Build:
    def __init__(self, scratch, jobs, timeout):
        self.src = os.path.join(scratch, "src")
        self.dir = os.path.join(scratch, "build")
        self.jobs = jobs
        self.timeout = timeout
        self.targets = {}  # suite name: whether a build target has that name
        self.env = dict(os.environ, CCACHE_BASEDIR=scratch, CCACHE_NOHASHDIR="1", GTEST_FAIL_FAST="1")

    def configure(self):
        rc, out = run(["cmake", "-S", self.src, "-B", self.dir, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Debug",
                       "-DCMAKE_CXX_COMPILER_LAUNCHER=ccache", "-DFNX_WERROR=OFF", "-DFNX_SANITIZE=",
                       "-DCMAKE_CXX_FLAGS_DEBUG=-g0",  # no debug info: links take half the time
                       "-DFNX_TEST_TIMEOUT=%d" % self.timeout], self.src, env=self.env)
        if rc != 0:
            sys.exit("cmake failed:\n" + out)

    def is_target(self, name):
        if name not in self.targets:
            rc, _ = run(["ninja", "-C", self.dir, "-t", "query", name], self.src, env=self.env)
            self.targets[name] = rc == 0
        return self.targets[name]

    def build(self, suites=()):
        """Builds the library and the given suites; everything when a suite's
        program is not named after it, or when no suite is given."""
        cmd = ["cmake", "--build", self.dir, "-j", str(self.jobs)]
        if suites and all(self.is_target(name) for name in suites):
            cmd += ["--target", "dal_storage_static"] + list(suites)
        rc, out = run(cmd, self.src, env=self.env)
        return rc == 0, out

    def suites(self):
        rc, out = run(["ctest", "--test-dir", self.dir, "-N"], self.src, env=self.env)
        return re.findall(r"Test\s+#\d+: (\S+)", out)

    def run_suite(self, name, limit=None):
        """'pass', 'fail' or 'timeout', and the seconds it took."""
        start = time.time()
        rc, out = run(["ctest", "--test-dir", self.dir, "-R", "^%s$" % re.escape(name)], self.src,
                      limit=limit or self.timeout, env=self.env)
        took = time.time() - start
        if rc is None or "Timeout" in out:
            return "timeout", took
        return ("pass" if rc == 0 else "fail"), took


def coverage_map(scratch, jobs, digest):
    """{file: {line: [suites that execute it]}} for the library's sources,
    from a --coverage build of the scratch tree; cached per tree content."""
    src, cov = os.path.join(scratch, "src"), os.path.join(scratch, "coverage")
    cache = os.path.join(scratch, "coverage.json")
    if os.path.isfile(cache):
        with open(cache) as f:
            cached = json.load(f)
        if cached.get("digest") == digest:
            return cached["lines"]
    env = dict(os.environ, CCACHE_BASEDIR=scratch, CCACHE_NOHASHDIR="1")
    flags = ["-DCMAKE_%s_FLAGS=--coverage" % kind for kind in ("CXX", "EXE_LINKER", "SHARED_LINKER")]
    for cmd in (["cmake", "-S", src, "-B", cov, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Debug",
                 "-DCMAKE_CXX_COMPILER_LAUNCHER=ccache", "-DFNX_WERROR=OFF"] + flags,
                ["cmake", "--build", cov, "-j", str(jobs)]):
        rc, out = run(cmd, src, env=env)
        if rc != 0:
            sys.exit("coverage build failed:\n" + out[-3000:])
    _, listing = run(["ctest", "--test-dir", cov, "-N"], src, env=env)
    lines = {}
    for suite in re.findall(r"Test\s+#\d+: (\S+)", listing):
        gcda = []
        for dirpath, _, names in os.walk(cov):
            for name in names:
                if name.endswith(".gcda"):
                    os.remove(os.path.join(dirpath, name))
        run(["ctest", "--test-dir", cov, "-R", "^%s$" % re.escape(suite)], src, env=env)
        for top in ("dal_storage", "platform"):
            for dirpath, _, names in os.walk(os.path.join(cov, top)):
                gcda += [os.path.join(dirpath, n) for n in names if n.endswith(".gcda")]
        if not gcda:
            continue
        proc = subprocess.run(["gcov", "--stdout", "--json-format"] + gcda, cwd=cov,
                              stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        for document in proc.stdout.splitlines():
            if not document.startswith("{"):
                continue
            for entry in json.loads(document).get("files", []):
                rel = os.path.relpath(os.path.normpath(os.path.join(cov, entry["file"])), src)
                if rel.startswith(".."):
                    continue
                per_line = lines.setdefault(rel, {})
                for line in entry["lines"]:
                    suites = per_line.setdefault(str(line["line_number"]), [])
                    if line["count"] > 0 and suite not in suites:
                        suites.append(suite)
    with open(cache, "w") as f:
        json.dump({"digest": digest, "lines": lines}, f)
    return lines


def suites_for(coverage, mutant, all_suites):
    """The suites that execute the mutant's line; all of them when the line
    holds no code of its own."""
    per_line = coverage.get(mutant["file"], {})
    if str(mutant["line"]) not in per_line:
        return list(all_suites)
    return [s for s in all_suites if s in per_line[str(mutant["line"])]]


# ---------------------------------------------------------------------------


def is_candidate(rel):
    return (rel.startswith(SOURCE_DIRS) and rel.endswith((".cpp", ".h"))
            and not rel.startswith(SKIP_DIRS))


def report(args, head, results, suites, started):
    per_file = {}
    for r in results:
        entry = per_file.setdefault(r["file"], {"run": 0, "killed": 0, "not_compiling": 0})
        if r["outcome"] == "not compiling":
            entry["not_compiling"] += 1
            continue
        entry["run"] += 1
        entry["killed"] += r["outcome"] != "survived"
    counted = [r for r in results if r["outcome"] != "not compiling"]
    killed = sum(r["outcome"] != "survived" for r in counted)
    survivors = [r for r in counted if r["outcome"] == "survived"]
    summary = {
        "command": " ".join(["scripts/mutate.py"] + sys.argv[1:]),
        "source_commit": head, "seed": args.seed, "sample": args.sample,
        "compiling": len(counted), "killed": killed,
        "not_compiling": len(results) - len(counted),
        "score": round(100.0 * killed / len(counted), 1) if counted else None,
        "suites": suites, "minutes": round((time.time() - started) / 60, 1),
        "per_file": per_file, "mutants": results,
    }
    with open(os.path.join(args.work, "report.json"), "w") as f:
        json.dump(summary, f, indent=1)
    lines = ["mutation check: %s" % summary["command"],
             "source %s, seed %s: %d of %d compiling mutants killed (%s%%), %d did not compile, %.1f min"
             % (head, args.seed, killed, len(counted), summary["score"], summary["not_compiling"],
                summary["minutes"]),
             "", "%-52s %7s" % ("file", "killed")]
    for path in sorted(per_file):
        e = per_file[path]
        if e["run"]:
            lines.append("%-52s %3d/%-3d" % (path, e["killed"], e["run"]))
    lines += ["", "survivors (%d):" % len(survivors)]
    for r in sorted(survivors, key=lambda r: (r["file"], r["line"])):
        lines.append("  %s:%d %s %s%s" % (r["file"], r["line"], r["kind"], r["change"],
                                          "" if r["suites"] else "  (no suite executes the line)"))
        lines.append("      - %s" % r["original"].strip())
        lines.append("      + %s" % r["mutated"].strip())
    with open(os.path.join(args.work, "report.txt"), "w") as f:
        f.write("\n".join(lines) + "\n")
    return "\n".join(lines)


def main():
    signal.signal(signal.SIGTERM, signal.default_int_handler)  # stopped: restore the file, end the child
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--seed", default="1", help="picks which mutants (default 1)")
    parser.add_argument("--sample", type=int, default=30, help="compiling mutants to run (default 30)")
    parser.add_argument("--files", default="", help="only sources whose path matches this regex")
    parser.add_argument("--source", default=TOP, help="the checkout to copy (default: this one)")
    parser.add_argument("--commit", default="", help="copy this commit instead of the working tree")
    parser.add_argument("--work", default="/tmp/fnx-mutate-" + os.environ.get("USER", "user"),
                        help="scratch directory: copy, build and reports")
    parser.add_argument("--jobs", type=int, default=2, help="build jobs (default 2)")
    parser.add_argument("--timeout", type=int, default=60,
                        help="most seconds per suite (default 60; at most 3x its time unchanged + 15)")
    parser.add_argument("--list", action="store_true", help="count the mutants per file and stop")
    args = parser.parse_args()

    source = os.path.abspath(args.source)
    head = subprocess.run(["git", "rev-parse", "--short", args.commit or "HEAD"], cwd=source,
                          stdout=subprocess.PIPE, text=True).stdout.strip()
    if not args.commit and subprocess.run(["git", "status", "--porcelain", "--untracked-files=no"], cwd=source,
                                          stdout=subprocess.PIPE, text=True).stdout.strip():
        head += "+changes"
    files = list(tree_files(source, args.commit))
    mutants = []
    for rel, data in files:
        if is_candidate(rel) and (not args.files or re.search(args.files, rel)):
            mutants.extend(mutants_of(rel, data.decode()))
    if args.list:
        counts = {}
        for m in mutants:
            counts[m["file"]] = counts.get(m["file"], 0) + 1
        for path in sorted(counts):
            print("%5d %s" % (counts[path], path))
        print("%5d in all" % len(mutants))
        return
    mutants.sort(key=lambda m: order_key(args.seed, m))

    os.makedirs(args.work, exist_ok=True)
    scratch_src = os.path.join(args.work, "src")
    digest = sync_tree(files, scratch_src)
    build = Build(args.work, args.jobs, args.timeout)
    build.configure()
    ok, out = build.build()
    if not ok:
        sys.exit("the unchanged tree does not build:\n" + out[-3000:])
    suites = {}
    for name in build.suites():
        outcome, took = build.run_suite(name)
        if outcome != "pass":
            sys.exit("suite %s does not pass on the unchanged tree" % name)
        suites[name] = round(took, 2)
    order = sorted(suites, key=suites.get)  # fastest first: most mutants die early
    print("suites (s): %s" % suites, flush=True)
    coverage = coverage_map(args.work, args.jobs, digest)
    print("coverage map: %d files" % len(coverage), flush=True)

    started, results, compiling = time.time(), [], 0
    for mutant in mutants:
        if compiling >= args.sample:
            break
        path = os.path.join(scratch_src, mutant["file"])
        with open(path) as f:
            original = f.read()
        lines = original.split("\n")
        assert lines[mutant["line"] - 1] == mutant["original"]
        lines[mutant["line"] - 1] = mutant["mutated"]
        write(path, "\n".join(lines))
        targets = suites_for(coverage, mutant, order)
        began = time.time()
        try:
            ok, _ = build.build(targets)
            result = dict(mutant, outcome="not compiling", killed_by=None, suites=targets)
            if ok:
                compiling += 1
                result["outcome"] = "survived"
                for name in targets:
                    # A suite far past its own time loops: that counts as a kill.
                    outcome, _ = build.run_suite(name, min(args.timeout, 3 * suites[name] + 15))
                    if outcome != "pass":
                        result["outcome"], result["killed_by"] = (
                            "killed" if outcome == "fail" else "timed out"), name
                        break
        finally:
            write(path, original)
        results.append(result)
        print("[%d/%d %3.0fs] %s:%d %s %s: %s%s" % (compiling, args.sample, time.time() - began,
                                                     mutant["file"], mutant["line"],
                                              mutant["kind"], mutant["change"], result["outcome"],
                                              " by " + result["killed_by"] if result["killed_by"]
                                              else "" if targets else " (no suite runs the line)"),
              flush=True)
        report(args, head, results, suites, started)
    build.build()  # leave the scratch build matching the sources
    print(report(args, head, results, suites, started))


if __name__ == "__main__":
    main()
