#include "SvgPlot.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

namespace dscore_cli {
namespace {

constexpr double kWidth = 960;
constexpr double kHeight = 540;
constexpr double kLeft = 80;
constexpr double kRight = 220;  // room for the legend
constexpr double kTop = 50;
constexpr double kBottom = 60;
constexpr double kPlotWidth = kWidth - kLeft - kRight;
constexpr double kPlotHeight = kHeight - kTop - kBottom;
constexpr const char* kColours[] = {"#1f77b4", "#d62728", "#2ca02c", "#ff7f0e", "#9467bd",
                                    "#8c564b", "#e377c2", "#7f7f7f", "#bcbd22", "#17becf"};

std::string Number(double value) {
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%.2f", value);
  return buffer;
}

// A tick label: as few digits as the tick step needs.
std::string TickLabel(double value, double step) {
  const int decimals = std::max(0, -static_cast<int>(std::floor(std::log10(step) + 1e-9)));
  char buffer[48];
  std::snprintf(buffer, sizeof buffer, "%.*f", std::min(decimals, 12), std::abs(value) < step / 2 ? 0.0 : value);
  return buffer;
}

struct Range {
  double low = std::numeric_limits<double>::infinity();
  double high = -std::numeric_limits<double>::infinity();
  void Add(double v) {
    low = std::min(low, v);
    high = std::max(high, v);
  }
  // A range with some width, also for no point or one value.
  void Settle() {
    if (!(low <= high)) low = 0, high = 1;
    if (low == high) low -= 0.5, high += 0.5;
  }
};

// First, lowest, highest and last point of each pixel column, in time order.
std::vector<std::pair<double, double>> Thin(const std::vector<std::pair<double, double>>& points, double t0,
                                            double t1) {
  if (points.size() <= static_cast<std::size_t>(4 * kPlotWidth)) return points;
  std::vector<std::pair<double, double>> kept;
  std::size_t i = 0;
  while (i < points.size()) {
    const auto column = static_cast<long>((points[i].first - t0) / (t1 - t0) * kPlotWidth);
    std::size_t end = i;
    std::size_t low = i;
    std::size_t high = i;
    while (end < points.size() && static_cast<long>((points[end].first - t0) / (t1 - t0) * kPlotWidth) == column) {
      if (points[end].second < points[low].second) low = end;
      if (points[end].second > points[high].second) high = end;
      ++end;
    }
    std::vector<std::size_t> picks{i, low, high, end - 1};
    std::sort(picks.begin(), picks.end());
    picks.erase(std::unique(picks.begin(), picks.end()), picks.end());
    for (const std::size_t p : picks) kept.push_back(points[p]);
    i = end;
  }
  return kept;
}

}  // namespace

std::vector<double> SvgPlot::Ticks(double low, double high, int target) {
  std::vector<double> ticks;
  if (!(high > low) || !std::isfinite(high - low) || target < 1) return ticks;
  const double rough = (high - low) / target;
  const double magnitude = std::pow(10.0, std::floor(std::log10(rough)));
  double step = magnitude;
  for (const double factor : {1.0, 2.0, 5.0, 10.0}) {
    step = factor * magnitude;
    if (step >= rough) break;
  }
  for (double t = std::ceil(low / step - 1e-9) * step; t <= high + step * 1e-9; t += step) ticks.push_back(t);
  return ticks;
}

std::string SvgPlot::Escape(const std::string& text) {
  std::string escaped;
  for (const char c : text) {
    switch (c) {
      case '&': escaped += "&amp;"; break;
      case '<': escaped += "&lt;"; break;
      case '>': escaped += "&gt;"; break;
      case '"': escaped += "&quot;"; break;
      case '\'': escaped += "&apos;"; break;
      default:
        // Control characters other than tab and line breaks are not allowed in XML.
        if (static_cast<unsigned char>(c) >= 0x20 || c == '\t' || c == '\n' || c == '\r') escaped += c;
    }
  }
  return escaped;
}

std::string SvgPlot::Render() const {
  Range time;
  Range value;
  for (const auto& series : m_series) {
    for (const auto& [t, v] : series.points) {
      if (!std::isfinite(v)) continue;
      time.Add(t);
      value.Add(v);
    }
  }
  time.Settle();
  value.Settle();
  // A little air above and below the values.
  const double pad = (value.high - value.low) * 0.05;
  value.low -= pad;
  value.high += pad;
  auto x = [&](double t) { return kLeft + (t - time.low) / (time.high - time.low) * kPlotWidth; };
  auto y = [&](double v) { return kTop + (value.high - v) / (value.high - value.low) * kPlotHeight; };

  std::string svg = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
  svg += "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + Number(kWidth) + "\" height=\"" + Number(kHeight) +
         "\" viewBox=\"0 0 " + Number(kWidth) + " " + Number(kHeight) +
         "\" font-family=\"sans-serif\" font-size=\"12\">\n";
  svg += "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n";
  svg += "<text x=\"" + Number(kLeft) + "\" y=\"30\" font-size=\"16\">" + Escape(m_title) + "</text>\n";

  // Grid, ticks and tick labels.
  const auto timeTicks = Ticks(time.low, time.high, 8);
  const double timeStep = timeTicks.size() > 1 ? timeTicks[1] - timeTicks[0] : 1.0;
  for (const double t : timeTicks) {
    svg += "<line x1=\"" + Number(x(t)) + "\" y1=\"" + Number(kTop) + "\" x2=\"" + Number(x(t)) + "\" y2=\"" +
           Number(kTop + kPlotHeight) + "\" stroke=\"#e0e0e0\"/>\n";
    svg += "<text x=\"" + Number(x(t)) + "\" y=\"" + Number(kTop + kPlotHeight + 18) + "\" text-anchor=\"middle\">" +
           TickLabel(t, timeStep) + "</text>\n";
  }
  const auto valueTicks = Ticks(value.low, value.high, 6);
  const double valueStep = valueTicks.size() > 1 ? valueTicks[1] - valueTicks[0] : 1.0;
  for (const double v : valueTicks) {
    svg += "<line x1=\"" + Number(kLeft) + "\" y1=\"" + Number(y(v)) + "\" x2=\"" + Number(kLeft + kPlotWidth) +
           "\" y2=\"" + Number(y(v)) + "\" stroke=\"#e0e0e0\"/>\n";
    svg += "<text x=\"" + Number(kLeft - 8) + "\" y=\"" + Number(y(v) + 4) + "\" text-anchor=\"end\">" +
           TickLabel(v, valueStep) + "</text>\n";
  }
  // Axes and their labels.
  svg += "<rect x=\"" + Number(kLeft) + "\" y=\"" + Number(kTop) + "\" width=\"" + Number(kPlotWidth) +
         "\" height=\"" + Number(kPlotHeight) + "\" fill=\"none\" stroke=\"black\"/>\n";
  svg += "<text x=\"" + Number(kLeft + kPlotWidth / 2) + "\" y=\"" + Number(kHeight - 15) +
         "\" text-anchor=\"middle\">time (s)</text>\n";
  svg += "<text transform=\"translate(20," + Number(kTop + kPlotHeight / 2) +
         ") rotate(-90)\" text-anchor=\"middle\">" + Escape(m_valueLabel) + "</text>\n";

  // The series, clipped to the plot area.
  svg += "<clipPath id=\"plot\"><rect x=\"" + Number(kLeft) + "\" y=\"" + Number(kTop) + "\" width=\"" +
         Number(kPlotWidth) + "\" height=\"" + Number(kPlotHeight) + "\"/></clipPath>\n";
  for (std::size_t s = 0; s < m_series.size(); ++s) {
    const auto& series = m_series[s];
    const char* colour = kColours[s % std::size(kColours)];
    std::string path;
    bool pen = false;
    for (const auto& [t, v] : Thin(series.points, time.low, time.high)) {
      if (!std::isfinite(v)) {
        pen = false;
        continue;
      }
      if (!pen) {
        path += "M" + Number(x(t)) + " " + Number(y(v));
      } else if (series.steps) {
        path += "H" + Number(x(t)) + "V" + Number(y(v));
      } else {
        path += "L" + Number(x(t)) + " " + Number(y(v));
      }
      pen = true;
    }
    if (!path.empty()) {
      svg += "<path clip-path=\"url(#plot)\" d=\"" + path + "\" fill=\"none\" stroke=\"" + colour +
             "\" stroke-width=\"1.5\"/>\n";
    }
    // A lone sample would draw nothing: mark every sample of short series.
    if (series.points.size() <= 50) {
      for (const auto& [t, v] : series.points) {
        if (std::isfinite(v)) {
          svg += "<circle cx=\"" + Number(x(t)) + "\" cy=\"" + Number(y(v)) + "\" r=\"2.5\" fill=\"" + colour +
                 "\"/>\n";
        }
      }
    }
    const double legendY = kTop + 10 + 20 * static_cast<double>(s);
    const double legendX = kLeft + kPlotWidth + 20;
    svg += "<line x1=\"" + Number(legendX) + "\" y1=\"" + Number(legendY) + "\" x2=\"" + Number(legendX + 24) +
           "\" y2=\"" + Number(legendY) + "\" stroke=\"" + colour + "\" stroke-width=\"3\"/>\n";
    svg += "<text x=\"" + Number(legendX + 30) + "\" y=\"" + Number(legendY + 4) + "\">" + Escape(series.label) +
           "</text>\n";
  }
  svg += "</svg>\n";
  return svg;
}

}  // namespace dscore_cli
