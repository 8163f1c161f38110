// The benchmark workloads written with Polars (nodejs-polars, installed in bench/.peers/polars) as its users
// write them: the CSV read with only the columns a workload needs, group_by/agg, window sums for the
// percentage bases, a join for the set's base.
//
//   node polars_peer.mjs CSV WORKLOAD [THREADS]    WORKLOAD: w0 (all four) | w1 | w2 | w3 | w4
//
// Prints one JSON line: {"load": s, "aggregate": s, "checks": {...}}.
// Polars has no weighted percentile or weighted standard deviation: they are written below from summed
// weights per value (a cumulative sum over each cell's sorted values) and from weighted sums.
import { createRequire } from 'node:module';
import path from 'node:path';
import { fileURLToPath } from 'node:url';

const [csv, workload, threadsArg] = process.argv.slice(2);
// Read when the library starts its thread pool, so before it is loaded.
process.env.POLARS_MAX_THREADS = threadsArg || '1';
const here = path.dirname(fileURLToPath(import.meta.url));
const peerDir = process.env.POLARS_PEER_DIR || path.join(here, '..', '.peers', 'polars');
const pl = createRequire(path.join(peerDir, 'package.json'))('nodejs-polars');

const EPS = 2.220446049250313e-16;
const NEEDS = {
  w1: ['region', 'gender', 'wt'],
  w2: ['region', 'gender', 'wave', 'wt'],
  w3: ['region', 'gender', 'income', 'wt'],
  w4: ['gender', 'b1', 'b2', 'b3', 'wt'],
};
const now = () => Number(process.hrtime.bigint()) / 1e9;
const col = pl.col;

// The value of `field` in the first row of `df` where every key equals the given value (null: the row of
// the total over that key, where the key column is absent).
function pick(df, where, field) {
  let f = df;
  for (const [k, v] of Object.entries(where)) f = f.filter(col(k).eq(pl.lit(v)));
  return f.height ? Number(f.getColumn(field).get(0)) : null;
}

// Weighted percentiles of income in every cell of `keys`: the first value whose cumulative weight reaches
// p % of the cell's total, the midpoint with the next value when it meets p % exactly (within rounding).
function percentiles(s, keys, ps) {
  const by = [...keys, 'income'];
  let v = s.filter(col('income').isNotNull()).groupBy(by).agg(col('wt').sum().alias('w')).sort(by);
  const over = (e) => (keys.length ? e.over(keys) : e);
  v = v.withColumns(
    over(col('w').cumSum()).alias('cw'),
    over(col('w').sum()).alias('total'),
    over(col('income').shift(-1)).alias('nxt'),
    over(col('w').count()).alias('n'));
  const cols = ps.map((p) => {
    const target = col('total').mul(p / 100);
    const tol = col('total').mul(col('n')).mul(EPS);
    const value = pl.when(col('cw').minus(target).abs().lessThanEquals(tol).and(col('nxt').isNotNull()))
      .then(col('income').plus(col('nxt')).divideBy(2)).otherwise(col('income'));
    return value.filter(col('cw').greaterThanEquals(target.minus(tol))).first().alias(`p${p}`);
  });
  return keys.length ? v.groupBy(keys).agg(...cols) : v.select(...cols);
}

const work = {
  w1(s) {
    const cells = s.groupBy(['region', 'gender']).agg(col('wt').sum().alias('w'));
    const cols = cells.withColumns(col('w').divideBy(col('w').sum().over('gender')).mul(100).alias('colpct'));
    const rows = s.groupBy('region').agg(col('wt').sum().alias('w'));
    const total = Number(s.getColumn('wt').sum());
    return {
      w1_count_r1_g2: pick(cols, { region: 1, gender: 2 }, 'w'),
      w1_colpct_r1_g2: pick(cols, { region: 1, gender: 2 }, 'colpct'),
      w1_colpct_r3_gT: (100 * pick(rows, { region: 3 }, 'w')) / total,
    };
  },
  w2(s) {
    const g = s.groupBy(['wave', 'region', 'gender']).agg(col('wt').sum().alias('w')).withColumns(
      col('w').divideBy(col('w').sum().over(['wave', 'region'])).mul(100).alias('rowpct'),
      col('w').divideBy(col('w').sum().over(['wave', 'gender'])).mul(100).alias('colpct'),
      col('w').divideBy(col('w').sum().over('wave')).mul(100).alias('layerpct'));
    const c = { wave: 3, region: 1, gender: 2 };
    return {
      w2_rowpct_r1_g2_w3: pick(g, c, 'rowpct'),
      w2_colpct_r1_g2_w3: pick(g, c, 'colpct'),
      w2_layerpct_r1_g2_w3: pick(g, c, 'layerpct'),
    };
  },
  w3(s) {
    const valid = s.filter(col('income').isNotNull());
    const moments = (keys) => {
      const aggs = [col('wt').sum().alias('sw'), col('wt').mul(col('income')).sum().alias('sx'),
        col('wt').mul(col('income')).mul(col('income')).sum().alias('sxx')];
      const m = keys.length ? valid.groupBy(keys).agg(...aggs) : valid.select(...aggs);
      return m.withColumns(col('sx').divideBy(col('sw')).alias('mean'),
        col('sxx').minus(col('sx').mul(col('sx')).divideBy(col('sw'))).divideBy(col('sw').minus(1)).pow(0.5).alias('sd'));
    };
    // Every cell and total of the table, as the other tools compute them; the checks read a few.
    const ps = [25, 50, 75];
    const cell = moments(['region', 'gender']);
    const ptCell = percentiles(s, ['region', 'gender'], ps);
    const ptRow = percentiles(s, ['region'], ps);
    const ptAll = percentiles(s, [], ps);
    moments(['region']);
    moments(['gender']);
    moments([]);
    percentiles(s, ['gender'], ps);
    return {
      w3_mean_r1_g2: pick(cell, { region: 1, gender: 2 }, 'mean'),
      w3_sd_r1_g2: pick(cell, { region: 1, gender: 2 }, 'sd'),
      w3_median_r1_g2: pick(ptCell, { region: 1, gender: 2 }, 'p50'),
      w3_p25_rT_gT: pick(ptAll, {}, 'p25'),
      w3_p75_r2_gT: pick(ptRow, { region: 2 }, 'p75'),
    };
  },
  w4(s) {
    const withId = s.withRowIndex('cid');
    const long = pl.concat(['b1', 'b2', 'b3'].map((b) =>
      withId.select('cid', 'gender', 'wt', col(b).alias('brand')).filter(col('brand').isNotNull())));
    const cases = long.unique({ subset: ['cid', 'brand'] });   // a case counts once per brand
    const counts = cases.groupBy(['brand', 'gender']).agg(col('wt').sum().alias('w'));
    const base = withId.filter(col('b1').isNotNull().or(col('b2').isNotNull()).or(col('b3').isNotNull()))
      .groupBy('gender').agg(col('wt').sum().alias('tw'));
    const pct = counts.join(base, { on: 'gender' }).withColumns(col('w').divideBy(col('tw')).mul(100).alias('colpct'));
    const resp = long.groupBy(['brand', 'gender']).agg(col('wt').sum().alias('r'));
    const respG = long.groupBy('gender').agg(col('wt').sum().alias('r'));
    return {
      w4_count_b5_g1: pick(pct, { brand: 5, gender: 1 }, 'w'),
      w4_resp_b5_g1: pick(resp, { brand: 5, gender: 1 }, 'r'),
      w4_resp_bT_g1: pick(respG, { gender: 1 }, 'r'),
      w4_colpct_b5_g1: pick(pct, { brand: 5, gender: 1 }, 'colpct'),
    };
  },
};

const names = workload === 'w0' ? ['w1', 'w2', 'w3', 'w4'] : [workload];
const columns = [...new Set(names.flatMap((w) => NEEDS[w]))];
const dtypes = Object.fromEntries(columns.map((c) => [c, c === 'wt' || c === 'income' ? pl.Float64 : pl.Int32]));
const t0 = now();
const s = pl.readCSV(csv, { columns, dtypes });
const t1 = now();
const checks = {};
for (const w of names) Object.assign(checks, work[w](s));
const t2 = now();
process.stdout.write(JSON.stringify({ load: t1 - t0, aggregate: t2 - t1, checks }) + '\n');
