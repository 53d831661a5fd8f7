#include <tq5/cellworks/metrics/lapack.hpp>

#include <climits>
#include <cstddef>

// The Fortran routine of the system LAPACK (32-bit integers; the lengths of
// the two character arguments are passed behind the others, as gfortran does).
extern "C" void dspev_(const char* jobz, const char* uplo, const int* n, double* ap, double* w, double* z,
                       const int* ldz, double* work, int* info, std::size_t jobz_len, std::size_t uplo_len);

namespace tq5 {
namespace lapack {

namespace {
bool is_letter(char c, char upper) noexcept { return c == upper || c == upper - 'A' + 'a'; }
}  // namespace

int dspev(char jobz, char uplo, long n, double* ap, double* w, double* z, long ldz, double* work, long& info) noexcept {
    // LAPACK's own checks, in its order: its error handler would stop the process.
    const bool wantz = is_letter(jobz, 'V');
    if (!wantz && !is_letter(jobz, 'N'))
        info = -1;
    else if (!is_letter(uplo, 'U') && !is_letter(uplo, 'L'))
        info = -2;
    else if (n < 0 || n > INT_MAX)
        info = -3;
    else if (ldz < 1 || (wantz && ldz < n) || ldz > INT_MAX)
        info = -7;
    else
        info = 0;
    if (info != 0) return static_cast<int>(info);

    const int n32 = static_cast<int>(n), ldz32 = static_cast<int>(ldz);
    int info32 = 0;
    dspev_(&jobz, &uplo, &n32, ap, w, z, &ldz32, work, &info32, 1, 1);
    info = info32;
    return info32;
}

}  // namespace lapack
}  // namespace tq5
