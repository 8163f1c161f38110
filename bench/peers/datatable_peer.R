#!/usr/bin/Rscript
# The benchmark workloads written with R's data.table, as a user would write them.
#
#   Rscript datatable_peer.R CSV WORKLOAD [THREADS]    WORKLOAD: w0 (all four) | w1 | w2 | w3 | w4
#
# Prints one JSON line: {"load": s, "aggregate": s, "checks": {...}}.
# data.table has no weighted percentile: wptile() below is written by hand.
suppressPackageStartupMessages(library(data.table))

args <- commandArgs(trailingOnly = TRUE)
path <- args[1]
workload <- args[2]
threads <- if (length(args) >= 3) as.integer(args[3]) else 1L
setDTthreads(threads)

needs <- list(w1 = c("region", "gender", "wt"),
              w2 = c("region", "gender", "wave", "wt"),
              w3 = c("region", "gender", "income", "wt"),
              w4 = c("gender", "b1", "b2", "b3", "wt"))
types <- c(region = "integer", gender = "integer", wave = "integer", wt = "double",
           income = "double", b1 = "integer", b2 = "integer", b3 = "integer")

w1 <- function(dt) {
  cb <- cube(dt, j = .(w = sum(wt)), by = c("region", "gender"))   # NA marks a total
  tot <- cb[is.na(region), .(gender, tw = w)]
  cb <- tot[cb, on = "gender"][, colpct := 100 * w / tw]
  list(w1_count_r1_g2 = cb[region == 1 & gender == 2, w],
       w1_colpct_r1_g2 = cb[region == 1 & gender == 2, colpct],
       w1_colpct_r3_gT = cb[region == 3 & is.na(gender), colpct])
}

w2 <- function(dt) {
  g <- dt[, .(w = sum(wt)), keyby = .(wave, region, gender)]
  g[, rowpct := 100 * w / sum(w), by = .(wave, region)]
  g[, colpct := 100 * w / sum(w), by = .(wave, gender)]
  g[, layerpct := 100 * w / sum(w), by = wave]
  c <- g[wave == 3 & region == 1 & gender == 2]
  list(w2_rowpct_r1_g2_w3 = c$rowpct, w2_colpct_r1_g2_w3 = c$colpct, w2_layerpct_r1_g2_w3 = c$layerpct)
}

# Weighted percentiles: the value at which the cumulative weight first exceeds p % of the
# total, the midpoint of it and the next smaller value when it meets p % exactly.
wptile <- function(x, w, ps) {
  if (length(x) == 0L) return(rep(NA_real_, length(ps)))
  o <- order(x)
  x <- x[o]
  w <- w[o]
  last <- c(which(diff(x) != 0), length(x))    # last position of each distinct value
  v <- x[last]
  cw <- cumsum(w)[last]
  total <- cw[length(cw)]
  tol <- total * length(cw) * .Machine$double.eps
  vapply(ps, function(p) {
    target <- p / 100 * total
    j <- min(which(cw >= target - tol)[1], length(cw))
    if (abs(cw[j] - target) <= tol && j < length(cw)) (v[j] + v[j + 1]) / 2 else v[j]
  }, numeric(1))
}

w3 <- function(dt) {
  d <- dt[!is.na(income)]
  st <- cube(d, j = {
    W <- sum(wt)
    m <- sum(wt * income) / W
    q <- wptile(income, wt, c(25, 50, 75))
    list(mean = m, sd = sqrt(sum(wt * (income - m)^2) / (W - 1)), p25 = q[1], median = q[2], p75 = q[3])
  }, by = c("region", "gender"))
  list(w3_mean_r1_g2 = st[region == 1 & gender == 2, mean],
       w3_sd_r1_g2 = st[region == 1 & gender == 2, sd],
       w3_median_r1_g2 = st[region == 1 & gender == 2, median],
       w3_p25_rT_gT = st[is.na(region) & is.na(gender), p25],
       w3_p75_r2_gT = st[region == 2 & is.na(gender), p75])
}

w4 <- function(dt) {
  long <- melt(dt[, .(case = .I, gender, wt, b1, b2, b3)], id.vars = c("case", "gender", "wt"),
               measure.vars = c("b1", "b2", "b3"), value.name = "brand", na.rm = TRUE)
  mentions <- unique(long, by = c("case", "brand"))              # a case counts once per brand
  cases <- groupingsets(mentions, j = .(w = sum(wt)), by = c("brand", "gender"),
                        sets = list(c("brand", "gender"), "brand"))
  # The set's valid cases: a case with no brand at all counts towards total N only.
  base <- cube(dt[!is.na(b1) | !is.na(b2) | !is.na(b3)], j = .(tw = sum(wt)), by = "gender")
  cases <- rbind(cases, base[, .(brand = NA_integer_, gender, w = tw)])
  cases <- base[cases, on = "gender"][, colpct := 100 * w / tw]
  resp <- cube(long, j = .(r = sum(wt)), by = c("brand", "gender"))
  list(w4_count_b5_g1 = cases[brand == 5 & gender == 1, w],
       w4_resp_b5_g1 = resp[brand == 5 & gender == 1, r],
       w4_resp_bT_g1 = resp[is.na(brand) & gender == 1, r],
       w4_colpct_b5_g1 = cases[brand == 5 & gender == 1, colpct])
}

work <- if (workload == "w0") c("w1", "w2", "w3", "w4") else workload
cols <- sort(unique(unlist(needs[work])))
t0 <- as.numeric(Sys.time())
dt <- fread(path, select = cols, colClasses = types[cols], showProgress = FALSE)
t1 <- as.numeric(Sys.time())
checks <- list()
for (w in work) checks <- c(checks, get(w)(dt))
t2 <- as.numeric(Sys.time())
fmt <- function(x) formatC(x, digits = 17, format = "g")
cat(sprintf('{"load": %s, "aggregate": %s, "checks": {%s}}\n', fmt(t1 - t0), fmt(t2 - t1),
            paste(sprintf('"%s": %s', names(checks), vapply(checks, function(x) fmt(as.numeric(x)), "")),
                  collapse = ", ")))
