#pragma once

#include <array>

/// The numbers that the solvers of one segment and of many share.
namespace segment {

/// Half-width of the band around zero in which discriminants, roots and values count as zero.
constexpr double Tolerance = 0.000001;
/// Below these, one division in place of seven is not exact enough.
constexpr double SmallCubicTerm = 0.001;
constexpr double SmallDiscriminant = 0.001;

/// r^(-1/3) for the remainder of r's exponent by 3.
constexpr std::array<double, 3> Remainder{1.0, 0.79370052598409973738, 0.62996052494743658238};

using Coefficients = std::array<double, 20>;

/// cos(acos(x) / 3) on 0..1, error below 1e-16.
constexpr Coefficients ThirdCosine{
    0.8660254037844386,     0.1666666666666652,    -0.04811252243226842,    0.024691358013845137,
    -0.015592020847060298,  0.010973931405581101,  -0.00825793154372973,    0.006502531257391051,
    -0.005288980120545077,  0.004399987902412445,  -0.0036998928811939513,  0.003083436846397354,
    -0.0024666720275715124, 0.0018134310601842986, -0.0011648618342542001,  0.0006193288100606164,
    -0.0002566222620216086, 7.668708494471335e-05, -1.4574040279168313e-05, 1.3151570034097222e-06};

/// sin(acos(x) / 3) / sqrt(1 - x^2) on 0..1, error below 2.1e-16.
constexpr Coefficients ThirdSine{
    0.49999999999999994,  -0.2886751345947513,    0.22222222221384072,   -0.1871042534496979,
    0.1646090404210618,   -0.14864370398632307,   0.13656181405449813,   -0.12699290892572854,
    0.11908094965141727,  -0.11203831277050535,   0.10470810187335461,   -0.09527331032132583,
    0.08170159806564126,  -0.06328745073794652,   0.04222233203873871,   -0.023063032762196286,
    0.009742254129619198, -0.0029521649191742217, 0.0005668431130528728, -5.154976024222301e-05};

struct Angle {
  double cosine;
  double sine;
};

/// The angles that a third of an arc cosine is turned by, for the three roots in the order they are tried: about 0,
/// 120 and 240 degrees. For x < 0 the arc is measured back from 180 degrees, so that its third counts from 60.
/// A degree is 3.14159265358 / 180 here. The missing digits are meant: stored results rest on them, and a better pi
/// would move the second and the third root.
constexpr std::array<Angle, 3> TurnForward{
    {{1.0, 0.0}, {-0.49999999999434586, -0.8660254037877031}, {-0.5000000000113083, 0.8660254037779098}}};
constexpr std::array<Angle, 3> TurnBackward{
    {{0.5, 0.8660254037844386}, {-1.0, 6.528825641762256e-12}, {0.49999999998869177, -0.8660254037909675}}};

}  // namespace segment
