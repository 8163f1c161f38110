// The benchmark workloads written as DuckDB SQL (GROUP BY CUBE / GROUPING SETS), run through
// the @duckdb/node-api package installed in bench/.peers/duckdb.
//
//   node duckdb_peer.mjs CSV WORKLOAD [THREADS]    WORKLOAD: w0 (all four) | w1 | w2 | w3 | w4
//
// Prints one JSON line: {"load": s, "aggregate": s, "checks": {...}}.
// DuckDB has weighted mean only through sums and no weighted percentile or weighted standard
// deviation: they are written by hand below (window functions over summed weights per value).
import { createRequire } from 'node:module';
import path from 'node:path';
import { fileURLToPath } from 'node:url';

const here = path.dirname(fileURLToPath(import.meta.url));
const peerDir = process.env.DUCKDB_PEER_DIR || path.join(here, '..', '.peers', 'duckdb');
const require = createRequire(path.join(peerDir, 'package.json'));
const { DuckDBInstance } = require('@duckdb/node-api');

const [csv, workload, threadsArg] = process.argv.slice(2);
const threads = threadsArg || '1';
const NEEDS = {
  w1: ['region', 'gender', 'wt'],
  w2: ['region', 'gender', 'wave', 'wt'],
  w3: ['region', 'gender', 'income', 'wt'],
  w4: ['gender', 'b1', 'b2', 'b3', 'wt'],
};
const ALL = ['id', 'region', 'gender', 'agegrp', 'wave', 'b1', 'b2', 'b3', 'd1', 'd2', 'd3', 'd4', 'd5',
  'income', 'score', 'wt'];
const TYPES = { wt: 'DOUBLE', income: 'DOUBLE' };

const now = () => Number(process.hrtime.bigint()) / 1e9;
const num = (x) => (typeof x === 'bigint' ? Number(x) : x === null ? null : Number(x));

async function rows(con, sql) {
  const r = await con.runAndReadAll(sql);
  return r.getRowObjects().map((o) =>
    Object.fromEntries(Object.entries(o).map(([k, v]) => [k, typeof v === 'bigint' ? Number(v) : v])));
}

function pick(rs, pred, field) {
  const r = rs.find(pred);
  return r ? num(r[field]) : null;
}

const work = {
  async w1(con) {
    const rs = await rows(con, `
      WITH c AS (SELECT grouping(region) AS gr, grouping(gender) AS gg, region, gender, sum(wt) AS w
                 FROM s GROUP BY CUBE (region, gender))
      SELECT c.gr, c.gg, c.region, c.gender, c.w, 100 * c.w / t.w AS colpct
      FROM c JOIN c AS t ON t.gr = 1 AND t.gg = c.gg AND t.gender IS NOT DISTINCT FROM c.gender
      ORDER BY c.gr, c.region, c.gg, c.gender`);
    return {
      w1_count_r1_g2: pick(rs, (r) => r.gr === 0 && r.gg === 0 && r.region === 1 && r.gender === 2, 'w'),
      w1_colpct_r1_g2: pick(rs, (r) => r.gr === 0 && r.gg === 0 && r.region === 1 && r.gender === 2, 'colpct'),
      w1_colpct_r3_gT: pick(rs, (r) => r.gr === 0 && r.gg === 1 && r.region === 3, 'colpct'),
    };
  },
  async w2(con) {
    const rs = await rows(con, `
      SELECT wave, region, gender, w,
             100 * w / sum(w) OVER (PARTITION BY wave, region) AS rowpct,
             100 * w / sum(w) OVER (PARTITION BY wave, gender) AS colpct,
             100 * w / sum(w) OVER (PARTITION BY wave) AS layerpct
      FROM (SELECT wave, region, gender, sum(wt) AS w FROM s GROUP BY wave, region, gender)
      ORDER BY wave, region, gender`);
    const c = (r) => r.wave === 3 && r.region === 1 && r.gender === 2;
    return {
      w2_rowpct_r1_g2_w3: pick(rs, c, 'rowpct'),
      w2_colpct_r1_g2_w3: pick(rs, c, 'colpct'),
      w2_layerpct_r1_g2_w3: pick(rs, c, 'layerpct'),
    };
  },
  async w3(con) {
    // mean and standard deviation from weighted sums; percentiles by hand: summed weight per
    // distinct value in every cell (grouping sets), a running sum, then the first value whose
    // running sum exceeds p % (midpoint with the next value when it meets p % exactly)
    const st = await rows(con, `
      SELECT grouping(region) AS gr, grouping(gender) AS gg, region, gender,
             sum(wt * income) / sum(wt) AS mean,
             sqrt((sum(wt * income * income) - sum(wt * income) ^ 2 / sum(wt)) / (sum(wt) - 1)) AS sd
      FROM s WHERE income IS NOT NULL GROUP BY CUBE (region, gender)`);
    const pt = await rows(con, `
      WITH v AS (
        SELECT grouping(region) AS gr, grouping(gender) AS gg, region, gender, income, sum(wt) AS w
        FROM s WHERE income IS NOT NULL
        GROUP BY GROUPING SETS ((region, gender, income), (region, income), (gender, income), (income))),
      c AS (
        SELECT gr, gg, region, gender, income,
               sum(w) OVER cell_ordered AS cw,
               lead(income) OVER cell_ordered AS nxt,
               sum(w) OVER cell AS total,
               sum(w) OVER cell * count(*) OVER cell * 2.220446049250313e-16 AS tol
        FROM v
        WINDOW cell AS (PARTITION BY gr, gg, region, gender),
               cell_ordered AS (PARTITION BY gr, gg, region, gender ORDER BY income
                                ROWS BETWEEN UNBOUNDED PRECEDING AND CURRENT ROW))
      SELECT gr, gg, region, gender,
             ${[25, 50, 75].map((p) => `
             arg_min(CASE WHEN abs(cw - ${p / 100} * total) <= tol AND nxt IS NOT NULL
                          THEN (income + nxt) / 2 ELSE income END, cw)
               FILTER (WHERE cw >= ${p / 100} * total - tol) AS p${p}`).join(',')}
      FROM c
      GROUP BY gr, gg, region, gender`);
    const rg = (r) => r.gr === 0 && r.gg === 0 && r.region === 1 && r.gender === 2;
    return {
      w3_mean_r1_g2: pick(st, rg, 'mean'),
      w3_sd_r1_g2: pick(st, rg, 'sd'),
      w3_median_r1_g2: pick(pt, rg, 'p50'),
      w3_p25_rT_gT: pick(pt, (r) => r.gr === 1 && r.gg === 1, 'p25'),
      w3_p75_r2_gT: pick(pt, (r) => r.gr === 0 && r.gg === 1 && r.region === 2, 'p75'),
    };
  },
  async w4(con) {
    await con.run(`
      CREATE OR REPLACE TEMP TABLE long AS
      UNPIVOT (SELECT rowid AS cid, gender, wt, b1, b2, b3 FROM s)
      ON b1, b2, b3 INTO NAME var VALUE brand`);                    // drops empty values
    const cases = await rows(con, `
      WITH m AS (SELECT DISTINCT cid, gender, wt, brand FROM long),  -- a case counts once per brand
      base AS (SELECT grouping(gender) AS gg, gender, sum(wt) AS tw FROM s  -- the set's valid cases
                 WHERE b1 IS NOT NULL OR b2 IS NOT NULL OR b3 IS NOT NULL GROUP BY CUBE (gender)),
      c AS (SELECT 0 AS gb, grouping(gender) AS gg, brand, gender, sum(wt) AS w
            FROM m GROUP BY GROUPING SETS ((brand, gender), (brand))
            UNION ALL SELECT 1, gg, NULL, gender, tw FROM base)
      SELECT c.*, 100 * c.w / base.tw AS colpct
      FROM c JOIN base ON base.gg = c.gg AND base.gender IS NOT DISTINCT FROM c.gender`);
    const resp = await rows(con, `
      SELECT grouping(brand) AS gb, grouping(gender) AS gg, brand, gender, sum(wt) AS r
      FROM long GROUP BY CUBE (brand, gender)`);
    const b5g1 = (r) => r.gb === 0 && r.gg === 0 && r.brand === 5 && r.gender === 1;
    return {
      w4_count_b5_g1: pick(cases, b5g1, 'w'),
      w4_resp_b5_g1: pick(resp, b5g1, 'r'),
      w4_resp_bT_g1: pick(resp, (r) => r.gb === 1 && r.gg === 0 && r.gender === 1, 'r'),
      w4_colpct_b5_g1: pick(cases, b5g1, 'colpct'),
    };
  },
};

const names = workload === 'w0' ? ['w1', 'w2', 'w3', 'w4'] : [workload];
const cols = [...new Set(names.flatMap((w) => NEEDS[w]))].sort();
const inst = await DuckDBInstance.create(':memory:', { threads });
const con = await inst.connect();
const columnTypes = ALL.map((c) => `'${c}': '${TYPES[c] || 'INTEGER'}'`).join(', ');
const t0 = now();
await con.run(`CREATE TABLE s AS SELECT ${cols.join(', ')} FROM read_csv('${csv.replace(/'/g, "''")}',
               header = true, columns = {${columnTypes}})`);
const t1 = now();
const checks = {};
for (const w of names) Object.assign(checks, await work[w](con));
const t2 = now();
process.stdout.write(JSON.stringify({ load: t1 - t0, aggregate: t2 - t1, checks }) + '\n');
