#include "model/light/UberLight.h"

#include <algorithm>
#include <numbers>

namespace osg {
inline namespace knscene {

KN_CONTAINER_TYPE(UberLightBase, UberLight, "UberLight")

namespace {

constexpr double LumensPerWatt = 683.0;
constexpr double RadiansPerDegree = std::numbers::pi / 180.0;

Color3f colorOf(ColorComponentSettingsPtr const& component) {
  return component.isAlive() ? component->getColor() : Color3f();
}

/// Colours a component of a light, and announces both. By value, as whoever hears of it may destroy them.
void setColorOf(ColorComponentSettingsPtr const component, Color3f const color, UberLightPtr const light,
                BitVector const& field) {
  if (!component.isAlive()) return;
  component->setColor(color);
  announce(component, ColorComponentSettings::ColorFieldMask);
  announce(light, field);
}

double cubic(double x, double a, double b, double c, double d) { return ((a * x + b) * x + c) * x + d; }

struct Chromaticity {
  double x, y;
};

Chromaticity planckianLocus(double kelvin) {
  double const r = 1.0e3 / kelvin;
  double const x = kelvin < 4000.0 ? cubic(r, -0.2661239, -0.2343589, 0.8776956, 0.179910)
                                   : cubic(r, -3.0258469, 2.1070379, 0.2226347, 0.240390);
  if (kelvin < 2222.0) return {x, cubic(x, -1.1063814, -1.34811020, 2.18555832, -0.20219683)};
  if (kelvin < 4000.0) return {x, cubic(x, -0.9549476, -1.37418593, 2.09137015, -0.16748867)};
  return {x, cubic(x, 3.0817580, -5.87338670, 3.75112997, -0.37001483)};
}

}  // namespace

UberLight::UberLight() {
  setDiffuse(ColorComponentSettings::create());
  setGlossy(ColorComponentSettings::create());
}

Real32 UberLight::lumensPerUnit(UInt32 unit) const {
  if (unit == Watt) return static_cast<Real32>(LumensPerWatt);
  if (unit != Candela && unit != Lux) return 1.F;
  double const opening = std::clamp<double>(getConeAngle(), 1e-3, 360.0);
  // 1 - cos(a) in a form that keeps its digits for narrow cones.
  double const sine = std::sin(opening * RadiansPerDegree / 4.0);
  return static_cast<Real32>(4.0 * std::numbers::pi * sine * sine);
}

Real32 UberLight::getIntensity(UInt32 unit) const {
  Real32 const own = _fIntensity.getValue();
  return unit == getUnit() ? own : own * lumensPerUnit(getUnit()) / lumensPerUnit(unit);
}

void UberLight::setIntensity(Real32 value, UInt32 unit) {
  if (!std::isfinite(value)) return;
  _fIntensity.setValue(unit == getUnit() ? value : value * lumensPerUnit(unit) / lumensPerUnit(getUnit()));
  announce(UberLightPtr(this), IntensityFieldMask);
}

void UberLight::setUnit(UInt32 unit) {
  _fIntensity.setValue(getIntensity(unit));
  _fUnit.setValue(unit);
}

Color3f UberLight::getDiffuseColor() const { return colorOf(getDiffuse()); }

void UberLight::setDiffuseColor(Color3f const& color) {
  setColorOf(getDiffuse(), color, UberLightPtr(this), DiffuseFieldMask);
}

Color3f UberLight::getGlossyColor() const { return colorOf(getGlossy()); }

void UberLight::setGlossyColor(Color3f const& color) {
  setColorOf(getGlossy(), color, UberLightPtr(this), GlossyFieldMask);
}

void UberLight::updateColorByTemperature() {
  if (std::isnan(getTemperature())) return;
  UberLightPtr const self(this);
  Color3f const color = getBlackBodyColor(getTemperature());
  setDiffuseColor(color);
  if (self.isAlive()) setGlossyColor(color);
}

Color3f UberLight::getBlackBodyColor(Real32 kelvin) {
  if (std::isnan(kelvin)) return {1, 1, 1};
  auto const [x, y] = planckianLocus(std::clamp<double>(kelvin, 1667.0, 25000.0));
  double const cieX = x / y, cieZ = (1.0 - x - y) / y;
  // From XYZ with Y = 1 to the linear primaries of IEC 61966-2-1.
  double const rgb[3] = {3.2404542 * cieX - 1.5371385 - 0.4985314 * cieZ,
                         -0.9692660 * cieX + 1.8760108 + 0.0415560 * cieZ,
                         0.0556434 * cieX - 0.2040259 + 1.0572252 * cieZ};
  double const brightest = std::max({rgb[0], rgb[1], rgb[2]});
  Color3f result;
  for (std::size_t i = 0; i < 3; ++i) result[i] = static_cast<Real32>(std::max(rgb[i], 0.0) / brightest);
  return result;
}

Real32 UberLight::getConeFactor(Vec3f const& direction) const {
  if (!getActive()) return 0.F;
  if (getConeAngle() >= 360.F) return 1.F;
  Vec3f const unit = normalized(direction);
  double const angle = std::acos(std::clamp(-unit.z(), -1.F, 1.F)) / RadiansPerDegree;
  double const outer = getConeAngle() / 2.0;
  double const inner = outer - std::clamp(getPenumbraAngle() / 2.0, 0.0, std::max(outer, 0.0));
  if (angle <= inner) return 1.F;
  if (!(angle < outer)) return 0.F;
  double const t = (outer - angle) / (outer - inner);
  return static_cast<Real32>(t * t * (3.0 - 2.0 * t));
}

}  // namespace knscene
}  // namespace osg
