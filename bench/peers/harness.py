#!/usr/bin/python3
"""Runs kvtables and its peers (pandas, data.table, DuckDB, Polars) on the benchmark workloads,
alternating tools, and reports median timings, peak memory and the check cells.
Normally started by bench/compare.sh, which first generates the data, installs the peers
and builds kvtables.

    harness.py --data DIR [--kvtables BIN | --kvtables-missing REASON] [--reps R] [--threads T]
               [--timeout S] [--tools a,b] [--workloads w0,w1] [--write-results FILE] [--self-check]
"""
import argparse
import datetime
import json
import os
import platform
import re
import statistics
import subprocess
import sys
import threading
import time

BENCH = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
PEERS = os.path.join(BENCH, "peers")
WORKLOADS = ["w0", "w1", "w2", "w3", "w4"]
WORKLOAD_TEXT = {
    "w0": "W0: W1 to W4 together (kvtables: one request, one pass; peers: one load, then the four computations)",
    "w1": "W1: weighted counts of region x gender with totals and column percentages",
    "w2": "W2: region x gender x wave (layer): weighted counts, row, column and layer percentages",
    "w3": "W3: income by region x gender with totals: weighted mean, standard deviation, median, 25th and 75th percentile",
    "w4": "W4: brand set (b1..b3) by gender with totals: cases mentioning each brand, responses, column percentages",
}
PEER_TOOLS = ["pandas", "data.table", "duckdb", "polars"]

# Check cells: key -> (table title prefix, rows, columns, layers, statistic). A dimension item is
# (variable, value) or (variable, "T") for its total.
CHECK_CELLS = {
    "w1_count_r1_g2": ("W1", [("region", 1)], [("gender", 2)], [], "Count"),
    "w1_colpct_r1_g2": ("W1", [("region", 1)], [("gender", 2)], [], "CountPct1"),
    "w1_colpct_r3_gT": ("W1", [("region", 3)], [("gender", "T")], [], "CountPct1"),
    "w2_rowpct_r1_g2_w3": ("W2", [("region", 1)], [("gender", 2)], [("wave", 3)], "CountPct0"),
    "w2_colpct_r1_g2_w3": ("W2", [("region", 1)], [("gender", 2)], [("wave", 3)], "CountPct1"),
    "w2_layerpct_r1_g2_w3": ("W2", [("region", 1)], [("gender", 2)], [("wave", 3)], "CountPct4"),
    "w3_mean_r1_g2": ("W3", [("region", 1)], [("gender", 2)], [], "Mean"),
    "w3_sd_r1_g2": ("W3", [("region", 1)], [("gender", 2)], [], "StdDev"),
    "w3_median_r1_g2": ("W3", [("region", 1)], [("gender", 2)], [], "Median"),
    "w3_p25_rT_gT": ("W3", [("region", "T")], [("gender", "T")], [], "Ptile25"),
    "w3_p75_r2_gT": ("W3", [("region", 2)], [("gender", "T")], [], "Ptile75"),
    "w4_count_b5_g1": ("W4", [("brands", 5)], [("gender", 1)], [], "Count"),
    "w4_resp_b5_g1": ("W4", [("brands", 5)], [("gender", 1)], [], "Responses"),
    "w4_resp_bT_g1": ("W4", [("brands", "T")], [("gender", 1)], [], "Responses"),
    "w4_colpct_b5_g1": ("W4", [("brands", 5)], [("gender", 1)], [], "CountPct1"),
}
REL_TOL = 1e-6


def log(msg):
    sys.stderr.write(msg + "\n")
    sys.stderr.flush()


# ---------------------------------------------------------------------------- running one tool

def run_measured(cmd, timeout, stdout_path=None):
    """Runs cmd; returns (wall seconds, max RSS in KiB, exit status, stdout text, stderr text)."""
    out = open(stdout_path, "w") if stdout_path else subprocess.PIPE
    t0 = time.perf_counter()
    proc = subprocess.Popen(cmd, stdout=out, stderr=subprocess.PIPE, text=True)
    killed = []

    def kill():
        killed.append(True)
        proc.kill()
    timer = threading.Timer(timeout, kill)
    timer.start()
    try:
        stdout, stderr = "", ""
        # read stderr (and stdout) before reaping, so a chatty child cannot block
        if proc.stdout is not None:
            stdout = proc.stdout.read()
        stderr = proc.stderr.read()
        _, status, usage = os.wait4(proc.pid, 0)
        wall = time.perf_counter() - t0
    finally:
        timer.cancel()
        if stdout_path:
            out.close()
    proc.returncode = os.waitstatus_to_exitcode(status)
    if killed:
        stderr += "\n(timed out after %d s)" % timeout
    return wall, usage.ru_maxrss, proc.returncode, stdout, stderr


def tool_command(tool, workload, data_dir, threads, kvtables):
    csv = os.path.join(data_dir, "survey.csv")
    if tool == "pandas":
        return ["/usr/bin/python3", os.path.join(PEERS, "pandas_peer.py"), csv, workload, str(threads)], None
    if tool == "data.table":
        return ["Rscript", os.path.join(PEERS, "datatable_peer.R"), csv, workload, str(threads)], None
    if tool == "duckdb":
        return ["node", os.path.join(PEERS, "duckdb_peer.mjs"), csv, workload, str(threads)], None
    if tool == "polars":
        return ["node", os.path.join(PEERS, "polars_peer.mjs"), csv, workload, str(threads)], None
    if tool == "kvtables":
        req = os.path.join(data_dir, "%s.json" % workload)
        out = os.path.join(data_dir, "kvtables-%s.out.json" % workload)
        return [kvtables, req, "--format", "json", "--output", out], out
    raise ValueError(tool)


def run_tool(tool, workload, args):
    cmd, out_file = tool_command(tool, workload, args.data, args.threads, args.kvtables)
    if out_file and os.path.exists(out_file):
        os.remove(out_file)
    wall, rss, rc, stdout, stderr = run_measured(cmd, args.timeout)
    res = {"total": wall, "rss_kib": rss, "load": None, "aggregate": None, "checks": {}, "error": None}
    if rc != 0:
        res["error"] = "exit %d: %s" % (rc, stderr.strip()[-800:])
        return res
    if tool == "kvtables":
        try:
            with open(out_file) as f:
                res["checks"] = kvtables_checks(json.load(f), workload)
        except (OSError, ValueError) as e:
            res["error"] = "cannot read kvtables output: %s" % e
        m = re.search(r"load[=:]\s*([0-9.eE+-]+).*?aggregate[=:]\s*([0-9.eE+-]+)", stderr)
        if m:  # optional timing line on stderr, e.g. "kvtables-timing: load=0.41 aggregate=0.12"
            res["load"], res["aggregate"] = float(m.group(1)), float(m.group(2))
        return res
    try:
        line = [l for l in stdout.splitlines() if l.startswith("{")][-1]
        rep = json.loads(line)
    except (IndexError, ValueError):
        res["error"] = "no result line; stderr: %s" % stderr.strip()[-800:]
        return res
    res["load"], res["aggregate"] = rep["load"], rep["aggregate"]
    res["checks"] = {k: (None if v is None else float(v)) for k, v in rep["checks"].items()}
    return res


# ---------------------------------------------------------------------------- kvtables output

def _stat_name(cell):
    st = cell.get("statistic")
    cut = cell.get("cut", cell.get("percentile"))
    if isinstance(st, dict):
        cut = st.get("cut", cut)
        st = st.get("name", "")
    st = str(st).strip()
    m = re.match(r"(?i)ptile\W*([0-9.]*)", st)
    if not m:
        return st
    num = m.group(1) or ("" if cut is None else str(cut))
    try:
        num = "%g" % float(num)
    except ValueError:
        pass
    return "Ptile" + num


def _dims_match(items, want):
    items = [i for i in (items or []) if i.get("category") != "none"]
    if len(items) != len(want):
        return False
    for item, (var, val) in zip(items, want):
        if item.get("variable") != var:
            return False
        if val == "T":
            if item.get("category") != "total":
                return False
        else:
            try:
                if item.get("category") != "value" or float(item.get("value")) != float(val):
                    return False
            except (TypeError, ValueError):
                return False
    return True


def kvtables_checks(doc, workload):
    found = {}
    for key, (prefix, rows, cols, lays, stat) in CHECK_CELLS.items():
        if workload != "w0" and prefix.lower() != workload:
            continue
        for table in doc.get("tables", []):
            if not str(table.get("title", "")).startswith(prefix):
                continue
            for cell in table.get("cells", []):
                if (_stat_name(cell) == stat and _dims_match(cell.get("rows"), rows)
                        and _dims_match(cell.get("columns"), cols) and _dims_match(cell.get("layers"), lays)):
                    v = cell.get("value")
                    found[key] = None if v is None else float(v)
                    break
            if key in found:
                break
        found.setdefault(key, None)
    return found


# ---------------------------------------------------------------------------- checks

def agree(a, b):
    if a is None or b is None:
        return False
    return abs(a - b) <= max(1e-9, REL_TOL * max(abs(a), abs(b)))


def compare_checks(values_by_tool, reference):
    """values_by_tool: tool -> {key: value}. Returns (rows, mismatches) for the check table."""
    keys = [k for k in CHECK_CELLS if any(k in v for v in values_by_tool.values())]
    rows, bad = [], []
    for k in keys:
        ref = values_by_tool.get(reference, {}).get(k)
        row = {"key": k}
        for tool, vals in values_by_tool.items():
            v = vals.get(k)
            row[tool] = v
            if tool != reference and k in vals and not agree(v, ref):
                bad.append((k, tool, v, reference, ref))
        rows.append(row)
    return rows, bad


# ---------------------------------------------------------------------------- environment facts

def sh(cmd):
    try:
        return subprocess.run(cmd, capture_output=True, text=True, timeout=60, shell=True).stdout.strip()
    except (OSError, subprocess.SubprocessError):
        return ""


def machine_facts():
    model = sh("grep -m1 'model name' /proc/cpuinfo | cut -d: -f2").strip() or platform.processor()
    mem = sh("awk '/MemTotal/ {printf \"%.1f GiB\", $2/1048576}' /proc/meminfo")
    return "%s, %s cores, %s, %s" % (model, os.cpu_count(), mem, platform.platform())


def versions(kvtables):
    v = {}
    v["pandas"] = sh("/usr/bin/python3 -c 'import sys, pandas, numpy; print(\"pandas %s, numpy %s, Python %s\" % "
                     "(pandas.__version__, numpy.__version__, sys.version.split()[0]))'")
    v["data.table"] = sh("Rscript -e 'cat(\"data.table\", as.character(packageVersion(\"data.table\")), \"on\", "
                         "R.version.string)' 2>/dev/null")
    pkg = os.path.join(BENCH, ".peers", "duckdb", "node_modules", "@duckdb", "node-api", "package.json")
    try:
        with open(pkg) as f:
            api = json.load(f)["version"]
    except (OSError, ValueError):
        api = "?"
    v["duckdb"] = "@duckdb/node-api %s on Node.js %s" % (api, sh("node --version"))
    pkg = os.path.join(BENCH, ".peers", "polars", "node_modules", "nodejs-polars", "package.json")
    try:
        with open(pkg) as f:
            v["polars"] = "nodejs-polars %s on Node.js %s" % (json.load(f)["version"], sh("node --version"))
    except (OSError, ValueError):
        v["polars"] = "nodejs-polars ?"
    if kvtables:
        root = os.path.dirname(BENCH)
        build = sh("grep -m1 '^CMAKE_BUILD_TYPE' '%s' | cut -d= -f2" %
                   os.path.join(os.path.dirname(os.path.dirname(os.path.dirname(kvtables))), "CMakeCache.txt"))
        v["kvtables"] = "commit %s%s" % (sh("git -C '%s' rev-parse --short HEAD" % root),
                                         (", build type " + build) if build else "")
    return v


# ---------------------------------------------------------------------------- reporting

def fmt_s(x):
    return "-" if x is None else ("%.3f" % x if x < 100 else "%.1f" % x)


def summarize(samples):
    out = {}
    for (tool, w), runs in samples.items():
        ok = [r for r in runs if not r["error"]]
        if not ok:
            out[(tool, w)] = {"error": runs[0]["error"] if runs else "not run"}
            continue
        med = lambda k: (statistics.median([r[k] for r in ok]) if all(r[k] is not None for r in ok) else None)
        out[(tool, w)] = {"load": med("load"), "aggregate": med("aggregate"), "total": med("total"),
                          "rss_mib": max(r["rss_kib"] for r in ok) / 1024.0, "runs": len(ok), "error": None}
    return out


def report_tables(summary, tools, workloads, kv_state):
    lines = []
    for w in workloads:
        lines.append("### " + WORKLOAD_TEXT[w])
        lines.append("")
        lines.append("| tool | load s | aggregate s | total s | total / kvtables | peak RSS MiB |")
        lines.append("|---|---:|---:|---:|---:|---:|")
        kv = summary.get(("kvtables", w))
        kv_total = kv["total"] if kv and not kv.get("error") else None
        if "kvtables" not in tools:
            lines.append("| kvtables | %s | | | | |" % kv_state)
        for t in tools:
            s = summary.get((t, w))
            if s is None:
                continue
            if s.get("error"):
                lines.append("| %s | failed: %s | | | | |" % (t, s["error"].replace("|", "/").replace("\n", " ")[:200]))
                continue
            ratio = "%.2f" % (s["total"] / kv_total) if kv_total and t != "kvtables" else ("1.00" if t == "kvtables" else "-")
            lines.append("| %s | %s | %s | %s | %s | %.0f |" % (t, fmt_s(s["load"]), fmt_s(s["aggregate"]),
                                                               fmt_s(s["total"]), ratio, s["rss_mib"]))
        lines.append("")
    return lines


def check_table(rows, tools):
    lines = ["| cell | " + " | ".join(tools) + " |", "|---|" + "---:|" * len(tools)]
    for r in rows:
        lines.append("| %s | %s |" % (r["key"], " | ".join(
            "-" if t not in r else ("missing" if r[t] is None else "%.10g" % r[t]) for t in tools)))
    return lines


NOTES = """Notes:
- Timings are medians over the timed runs (after one untimed warm-up run of every tool and workload);
  the tools take turns, in a rotating order. "total" is the wall time of the whole process (start-up,
  reading the CSV, computing, and for kvtables writing its JSON output); "load" and "aggregate" are
  measured inside the peer scripts (reading the CSV into memory; computing the tables). kvtables reads
  and aggregates in one pass, so it has no separate load time unless it reports one. Peak RSS is the
  largest maximum resident set size over the timed runs (getrusage of the child process).
  "total / kvtables" is a tool's median total divided by kvtables' median total: above 1, kvtables is faster.
- Every tool may use the number of threads given (default 2, the machine's cores). kvtables always uses
  two: one parses the CSV (only the columns the request names), the other runs the engine, which has no
  threads of its own. pandas is single-threaded anyway, data.table gets setDTthreads(), DuckDB its
  `threads` setting, Polars POLARS_MAX_THREADS.
- Peers read only the columns a workload needs (a favour to them); kvtables is given the whole file.
- W0 for the peers is one process that loads the union of the columns once and then runs W1 to W4, which
  costs less than the sum of four separate runs.
- Weights: all statistics are weighted by wt. Standard deviation is sqrt(sum w (x - mean)^2 / (W - 1)) with W
  the sum of weights. No peer has a weighted percentile (pandas' quantile, data.table and R's quantile and
  DuckDB's quantile_cont/quantile_disc are unweighted), and DuckDB has no weighted standard deviation: each
  peer script carries a hand-written weighted percentile (sort, sum the weights per distinct value, running
  sum, first value whose running sum exceeds p % of the total weight, the midpoint with the next value when
  it meets p % exactly): a numpy function applied per group in pandas, an R function inside data.table's
  cube(), window functions over GROUPING SETS in DuckDB SQL, and cumulative sums over each cell in Polars.
  DuckDB's and Polars' standard deviations come from weighted sums of x and x^2.
- Brands: a case counts once per brand it mentions ("cases"); responses count mentions. The column
  percentage base is the weighted count of the set's valid cases in the column: a case that names no
  brand at all counts towards total N only, not in the set's total.
"""


def write_results(path, n, args, summary, tools, kv_state, check_rows, bad, size_mb):
    date = datetime.datetime.now(datetime.timezone.utc).strftime("%Y-%m-%d %H:%M UTC")
    vers = versions(args.kvtables)
    body = ["<!-- run N=%d -->" % n, "## N = %s cases" % format(n, ","), "",
            "Run %s: `bench/compare.sh %d --write-results` (%d timed runs per tool and workload, %d thread%s per tool, "
            "CSV %.0f MB)." % (date, n, args.reps, args.threads, "" if args.threads == 1 else "s", size_mb), "",
            "Machine: %s. Load average (1 min) before the timed runs %.2f, after %.2f (other work on "
            "the machine slows every tool; the turns spread it over all of them)." % (
                machine_facts(), args.load_before, args.load_after), "",
            "Versions: " + "; ".join("%s: %s" % (k, v) for k, v in vers.items()) +
            ("" if "kvtables" in vers else "; kvtables: %s" % kv_state) + ".", ""]
    body += report_tables(summary, tools, WORKLOADS if args.workloads is None else args.workloads, kv_state)
    body += ["Check cells (first warm-up run of each tool; reference %s, relative tolerance %g): %s" %
             (tools[0], REL_TOL, "all agree" if not bad else "%d MISMATCHES" % len(bad)), ""]
    body += check_table(check_rows, tools)
    body += ["", "<!-- end run -->", ""]
    head = ["# Benchmark results: kvtables and its peers", "",
            "Regenerated by `bench/compare.sh N --write-results`; each N keeps its own section. "
            "See bench/README.md for how to run.", "", NOTES]
    old = ""
    if os.path.exists(path):
        with open(path) as f:
            old = f.read()
    blocks = dict((int(m.group(1)), m.group(0)) for m in
                  re.finditer(r"<!-- run N=(\d+) -->.*?<!-- end run -->\n?", old, flags=re.S))
    blocks[n] = "\n".join(body)
    with open(path, "w") as f:
        f.write("\n".join(head) + "\n")
        for k in sorted(blocks):
            f.write(blocks[k].rstrip("\n") + "\n\n")
    log("wrote %s" % path)


# ---------------------------------------------------------------------------- main

def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--data", required=True)
    ap.add_argument("--kvtables", default="")
    ap.add_argument("--kvtables-missing", default="not built")
    ap.add_argument("--reps", type=int, default=5)
    ap.add_argument("--threads", type=int, default=2)
    ap.add_argument("--timeout", type=int, default=900)
    ap.add_argument("--tools", default=None)
    ap.add_argument("--workloads", default=None)
    ap.add_argument("--write-results", default=None)
    ap.add_argument("--self-check", action="store_true")
    ap.add_argument("--expect", default=None, help="JSON of known check values, the reference")
    args = ap.parse_args()
    args.workloads = args.workloads.split(",") if args.workloads else None
    workloads = args.workloads or WORKLOADS
    n = sum(1 for _ in open(os.path.join(args.data, "survey.csv"), "rb")) - 1
    size_mb = os.path.getsize(os.path.join(args.data, "survey.csv")) / 1e6

    tools = args.tools.split(",") if args.tools else (["kvtables"] if args.kvtables else []) + PEER_TOOLS
    if "kvtables" in tools and not args.kvtables:
        tools.remove("kvtables")
    kv_state = "built" if args.kvtables else args.kvtables_missing
    print("N = %d cases (%.0f MB CSV), %d thread(s) per tool" % (n, size_mb, args.threads))
    print("kvtables: %s" % (args.kvtables if args.kvtables else kv_state))
    if args.kvtables:
        for w in WORKLOADS:  # request copies next to the data, so "data" is a plain file name
            with open(os.path.join(BENCH, "requests", w + ".json")) as f:
                req = json.load(f)
            req["data"], req["dictionary"] = "survey.csv", "survey.dict.json"
            with open(os.path.join(args.data, w + ".json"), "w") as f:
                json.dump(req, f, indent=2)

    # warm-up, one run each, which also gives the check cells
    checks = {t: {} for t in tools}
    errors = []
    for w in workloads:
        for t in tools:
            log("warm-up %-10s %s" % (t, w))
            r = run_tool(t, w, args)
            if r["error"]:
                errors.append("%s %s: %s" % (t, w, r["error"]))
                log("  FAILED: " + r["error"])
            for k, v in r["checks"].items():
                checks[t].setdefault(k, v)
    reference = tools[0] if tools else None
    if args.expect:
        with open(args.expect) as f:
            expected = json.load(f)
        checks = {t: {k: v for k, v in c.items() if k in expected} for t, c in checks.items()}
        checks = dict([("expected", expected)] + list(checks.items()))
        reference = "expected"
        tools = ["expected"] + tools
    rows, bad = compare_checks(checks, reference)
    print()
    print("Check cells (reference: %s)" % reference)
    print("\n".join(check_table(rows, tools)))
    for k, t, v, rt, rv in bad:
        print("MISMATCH %s: %s gives %s, %s gives %s" % (k, t, v, rt, rv))
    if args.self_check:
        ok = not bad and not errors
        total = len(rows) * max(0, len(tools) - 1)
        print("self-check: %d passed, %d failed" % (total - len(bad), len(bad) + len(errors)))
        return 0 if ok else 1

    args.load_before = os.getloadavg()[0]
    samples = {(t, w): [] for t in tools for w in workloads}
    for rep in range(args.reps):
        for wi, w in enumerate(workloads):
            k = (rep + wi) % max(1, len(tools))
            for t in tools[k:] + tools[:k]:
                r = run_tool(t, w, args)
                samples[(t, w)].append(r)
                log("run %d/%d %-10s %s  %s s%s" % (rep + 1, args.reps, t, w, fmt_s(r["total"]),
                                                   ("  FAILED: " + r["error"][:200]) if r["error"] else ""))
    args.load_after = os.getloadavg()[0]
    summary = summarize(samples)
    print()
    print("load average (1 min) before the timed runs %.2f, after %.2f" % (args.load_before, args.load_after))
    print("\n".join(report_tables(summary, tools, workloads, kv_state)))
    if args.write_results:
        write_results(args.write_results, n, args, summary, tools, kv_state, rows, bad, size_mb)
    return 1 if bad or errors else 0


if __name__ == "__main__":
    sys.exit(main())
