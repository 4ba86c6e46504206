#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "kr/platform/export.h"

namespace KrData {

/// The value of a table between two points.
enum class eTransferInterpolation : std::uint8_t {
    kStep,    ///< the value of the point to the left
    kLinear,  ///< the straight line between both
};

/// The value of a table or curve beyond its first or last point.
enum class eTransferExtrapolation : std::uint8_t {
    kClamp,   ///< the value of that point
    kLinear,  ///< a straight line: of a table through its last two points, of a curve with the slope of the point
    kRepeat,  ///< periodic, with the distance between first and last point as period; only for both ends
};

struct TransferEnds {
    eTransferExtrapolation below{eTransferExtrapolation::kClamp};
    eTransferExtrapolation above{eTransferExtrapolation::kClamp};
    [[nodiscard]] bool operator==(const TransferEnds&) const = default;
};

struct TransferPoint {
    double x{0.0};
    double y{0.0};
    double slope{0.0};  ///< of curves, dy/dx; tables do not read it
    [[nodiscard]] bool operator==(const TransferPoint&) const = default;
};

/// A function from number to number that is data: it is compared, copied with its connection, saved and loaded.
///
///     using KrData::TransferFunction;
///     connection->setTransferFunction(TransferFunction::gain(0.001, 20.0));
///     connection->setTransferFunction(
///         TransferFunction::table({{0.0, 0.0}, {0.5, 0.8}, {1.0, 1.0}}).then(TransferFunction::gain(400.0)));
///
/// A function is a chain of steps; each works on the result of the previous step. Without a step it returns its
/// argument. NaN gives NaN.
///
/// Invalid data makes an invalid function: getFault() describes the fault, calls return NaN, and connections refuse it.
/// Thread: any. Ownership: copies share their data, which never change.
class KR_API TransferFunction {
public:
    using eInterpolation = eTransferInterpolation;
    using eExtrapolation = eTransferExtrapolation;
    using Ends = TransferEnds;
    using Point = TransferPoint;
    using Points = std::vector<Point>;

    enum class eKind : std::uint8_t { kGain, kTable, kCurve };
    struct Step {
        eKind kind{eKind::kGain};
        double gain{1.0};  ///< of eKind::kGain, as is the offset; other members belong to other kinds
        double offset{0.0};
        Points points{};
        eInterpolation interpolation{eInterpolation::kLinear};  ///< of tables
        Ends ends{};
        [[nodiscard]] bool operator==(const Step&) const = default;
    };
    using Steps = std::vector<Step>;

    /// Largest number of steps of a function.
    static constexpr std::size_t kMaxSteps = 256;

    /// Returns its argument.
    TransferFunction() noexcept;
    /// Any steps; see getFault.
    explicit TransferFunction(Steps steps);
    TransferFunction(const TransferFunction& other) noexcept;
    TransferFunction& operator=(const TransferFunction& other) noexcept;
    ~TransferFunction();

    /// gain * x + offset; both must be finite.
    [[nodiscard]] static TransferFunction gain(double gain, double offset = 0.0);
    /// A lookup table: at least one point, or two unless both ends are clamped; finite, with rising x.
    [[nodiscard]] static TransferFunction table(Points points, eInterpolation interpolation = eInterpolation::kLinear,
                                                Ends ends = {});
    /// A smooth curve through points with these slopes: cubic Hermite pieces. The points are as those of a table.
    [[nodiscard]] static TransferFunction curve(Points points, Ends ends = {});
    /// The same, with slopes calculated so that the curve rises and falls only where the points do (Fritsch and
    /// Butland, "A method for constructing local monotone piecewise cubic interpolants", 1984).
    [[nodiscard]] static TransferFunction curveThrough(Points points, Ends ends = {});
    /// First this function, then `next` on its result.
    [[nodiscard]] TransferFunction then(const TransferFunction& next) const;

    /// Allocates nothing. A search in a table or curve takes logarithmic time.
    [[nodiscard]] double operator()(double x) const noexcept;

    /// Valid as long as a copy of this function lives; empty while invalid.
    [[nodiscard]] const Steps& getSteps() const;
    [[nodiscard]] bool isValid() const { return getFault().empty(); }
    /// The fault of the data, and its step; empty for a valid function.
    [[nodiscard]] const std::string& getFault() const;

    /// Whether both have the same steps, or the same fault.
    [[nodiscard]] bool operator==(const TransferFunction& other) const;

private:
    struct Data;

    std::shared_ptr<const Data> _data;  // null for the function without steps
};

}  // namespace KrData
