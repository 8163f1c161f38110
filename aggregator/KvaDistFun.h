// Cumulative and inverse distribution functions (normal, Student t,
// chi-square, F, beta, gamma, binomial), the confidence interval of a weighted
// median and the grouped percentile.
//
// Error convention: the building blocks take a `long& err`, set to 0 on entry;
// 1 means an argument outside the domain, 2 that no result inside the support
// was found. Every public function returns _missing (system-missing) for such
// arguments; nothing throws or asserts.
#ifndef KVAGGR_KVADISTFUN_H
#define KVAGGR_KVADISTFUN_H

#include <vector>

class KvaDistFun {
public:
    static const double _missing;

    // ---- public wrappers (missing result on error) ----
    static double CdfNorm(double x, double mean, double sd);
    static double IdfNorm(double p, double mean, double sd);
    static double CdfT(double t, double df);
    static double IdfT(double p, double df);
    static double CdfChi(double x, double df);
    static double IdfChi(double p, double df);
    static double CdfF(double x, double df1, double df2);
    static double IdfF(double p, double df1, double df2);
    static double IdfBet(const double& p, const double& a, const double& b);
    // Upper tails P(X > x), computed as tails (never as 1 - cdf) so that
    // small p-values keep their relative accuracy.
    static double UpperNorm(double z);
    static double UpperT(double t, double df);
    static double UpperChi(double x, double df);

    // ---- building blocks ----
    static double probit(const double& p);
    static double prbnrm(const double& z);
    static double derf(const double& x);
    static double derfc(const double& x);
    static double dnlgam(const double& x);
    static double dnlbnc(const double& n, const double& k);  // ln C(n, k)
    static double gammad(const double& x, const double& p, bool upper, long& err);
    static double cdfbet(const double& x, const double& a, const double& b, long& err);
    static double cbtaux(const double& x, const double& a, const double& b, long& err);
    static double betinv(const double& p, const double& a, const double& b);
    static double veskcdft(const double& t, const double& df, long& err);
    static double veskidft(const double& p, const double& df, long& err);
    static double veskcdff(const double& x, const double& df1, const double& df2, long& err);
    static double veskidff(const double& p, const double& df1, const double& df2, long& err);
    static double veskidfchi(const double& p, const double& df, long& err);
    // Search for the chi-square quantile on gammad, from a starting value
    // (the AS 91 result when there is one).
    static double idfchb(const double& p, const double& df, const double& start, long& err);

    // ---- binomial, median interval, grouped percentile ----
    static double PdfBin(double k, double n, double prob, long& err);
    static double CdfBin(double k, double n, double prob, long& err);
    static double IdfBin(double p, double n, double prob, long& err);
    static void Mednci(long n, const std::vector<double>& values, const std::vector<double>& weights, double total,
                       double level, bool wantCoverage, double& lower, double& upper, double& coverage);
    static long GPTile(long n, double percent, const std::vector<double>& values, const std::vector<double>& weights,
                       const std::vector<double>& bounds, long mode, double& result, long& status);
};

#endif
