// Tolerances for comparing geometry.

#pragma once

/// How far two points or two vectors may differ and still count as equal.
///
/// A value; copies and compares by content.
class OdGeTol
{
public:
    static constexpr double kDefaultTolerance = 1e-10;

    constexpr OdGeTol() = default;
    /// The same tolerance for points and vectors; not negative.
    explicit constexpr OdGeTol(double tolerance) : m_point(tolerance), m_vector(tolerance) {}
    constexpr OdGeTol(double pointTolerance, double vectorTolerance)
        : m_point(pointTolerance), m_vector(vectorTolerance)
    {
    }

    /// Greatest distance of equal points, in drawing units.
    constexpr double equalPoint() const { return m_point; }
    /// Greatest length of the difference of equal vectors, and of a vector that counts as zero.
    constexpr double equalVector() const { return m_vector; }

    constexpr void setEqualPoint(double tolerance) { m_point = tolerance; }
    constexpr void setEqualVector(double tolerance) { m_vector = tolerance; }

    constexpr bool operator==(OdGeTol const&) const = default;

private:
    double m_point = kDefaultTolerance;
    double m_vector = kDefaultTolerance;
};

/// Settings that hold for all geometry of the process.
struct OdGeContext
{
    /// The tolerance that every comparison takes when none is given. Change it before threads start.
    static OdGeTol gTol;
};
