#include "kr/application/context/random_stream.h"

#include <cmath>
#include <utility>

#include "kr/application/context/internal/philox.h"

namespace KrSim {

namespace {

template <std::size_t count>
double evaluatePolynomial(const std::array<double, count>& coefficients, double x) noexcept {
    double value = coefficients[count - 1];
    for (std::size_t i = count - 1; i-- > 0;)
        value = value * x + coefficients[i];
    return value;
}

/// A quotient of two polynomials of degree 7.
struct Rational {
    std::array<double, 8> numerator;
    std::array<double, 8> denominator;

    [[nodiscard]] double operator()(double x) const noexcept {
        return evaluatePolynomial(numerator, x) / evaluatePolynomial(denominator, x);
    }
};

// The coefficients of AS 241, routine PPND16.
constexpr Rational kCentre{
    {3.3871328727963666080e0, 1.3314166789178437745e+2, 1.9715909503065514427e+3, 1.3731693765509461125e+4,
     4.5921953931549871457e+4, 6.7265770927008700853e+4, 3.3430575583588128105e+4, 2.5090809287301226727e+3},
    {1.0, 4.2313330701600911252e+1, 6.8718700749205790830e+2, 5.3941960214247511077e+3, 2.1213794301586595867e+4,
     3.9307895800092710610e+4, 2.8729085735721942674e+4, 5.2264952788528545610e+3}};
constexpr Rational kFlank{
    {1.42343711074968357734e0, 4.63033784615654529590e0, 5.76949722146069140550e0, 3.64784832476320460504e0,
     1.27045825245236838258e0, 2.41780725177450611770e-1, 2.27238449892691845833e-2, 7.74545014278341407640e-4},
    {1.0, 2.05319162663775882187e0, 1.67638483018380384940e0, 6.89767334985100004550e-1, 1.48103976427480074590e-1,
     1.51986665636164571966e-2, 5.47593808499534494600e-4, 1.05075007164441684324e-9}};
constexpr Rational kTail{
    {6.65790464350110377720e0, 5.46378491116411436990e0, 1.78482653991729133580e0, 2.96560571828504891230e-1,
     2.65321895265761230930e-2, 1.24266094738807843860e-3, 2.71155556874348757815e-5, 2.01033439929228813265e-7},
    {1.0, 5.99832206555887937690e-1, 1.36929880922735805310e-1, 1.48753612908506148525e-2, 7.86869131145613259100e-4,
     1.84631831751005468180e-5, 1.42151175831644588870e-7, 2.04426310338993978564e-15}};

/// The number of deviations below which a normal number is with this probability, inside (0, 1).
double findNormalQuantile(double probability) noexcept {
    const double q = probability - 0.5;
    if (std::abs(q) <= 0.425) return q * kCentre(0.180625 - q * q);
    const double r = std::sqrt(-std::log(q < 0.0 ? probability : 1.0 - probability));
    const double value = r <= 5.0 ? kFlank(r - 1.6) : kTail(r - 5.0);
    return q < 0.0 ? -value : value;
}

}  // namespace

RandomStream::RandomStream() : _sequence(std::make_shared<detail::RandomSequence>()) {}

RandomStream::RandomStream(std::shared_ptr<detail::RandomSequence> sequence) noexcept
    : _sequence(std::move(sequence)) {}

RandomStream::RandomStream(const RandomStream& other) noexcept = default;
RandomStream& RandomStream::operator=(const RandomStream& other) noexcept = default;
RandomStream::~RandomStream() = default;

std::uint64_t RandomStream::getBits() {
    auto& all = *_sequence;
    const std::uint64_t block = all.position / 2;
    if (block != all.block) {
        const auto bits = detail::makePhiloxBlock(
            {static_cast<std::uint32_t>(block), static_cast<std::uint32_t>(block >> 32U), all.name[0], all.name[1]},
            {all.seed, 0});
        all.words = {bits[0] | std::uint64_t{bits[1]} << 32U, bits[2] | std::uint64_t{bits[3]} << 32U};
        all.block = block;
    }
    return all.words[all.position++ % 2];
}

double RandomStream::getUniform() {
    return static_cast<double>(getBits() >> 11U) * 0x1p-53;
}

double RandomStream::getUniform(double minimum, double maximum) {
    const double part = getUniform();
    return maximum > minimum ? minimum + part * (maximum - minimum) : minimum;
}

// Multiplication with rejection: Lemire, "Fast random integer generation in an interval", ACM TOMACS 29 (2019).
std::int64_t RandomStream::getInteger(std::int64_t minimum, std::int64_t maximum) {
    using Wide = unsigned __int128;
    std::uint64_t bits = getBits();
    if (maximum <= minimum) return minimum;
    const std::uint64_t count = static_cast<std::uint64_t>(maximum) - static_cast<std::uint64_t>(minimum) + 1;
    if (count == 0) return static_cast<std::int64_t>(bits);  // all 2^64
    Wide product = Wide{bits} * count;
    if (static_cast<std::uint64_t>(product) < count) {
        const std::uint64_t biased = (0 - count) % count;
        while (static_cast<std::uint64_t>(product) < biased) {
            bits = getBits();
            product = Wide{bits} * count;
        }
    }
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(minimum) + static_cast<std::uint64_t>(product >> 64U));
}

bool RandomStream::getBoolean(double probability) {
    return getUniform() < probability;
}

double RandomStream::getNormal(double mean, double deviation) {
    // The middle of one of 2^52 intervals: neither 0 nor 1.
    const double probability = (static_cast<double>(getBits() >> 12U) + 0.5) * 0x1p-52;
    return mean + deviation * findNormalQuantile(probability);
}

}  // namespace KrSim
