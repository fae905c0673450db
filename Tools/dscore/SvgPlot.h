// A line plot of numeric series against time as a standalone SVG document:
// axes with round tick values, axis labels, a title and a legend. Series of
// recorded streams are drawn as steps (each value holds until the next
// sample), imported ones as straight lines between samples. Series longer
// than the plot is wide are thinned to the first, lowest, highest and last
// point of each pixel column, which keeps every peak visible.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace dscore_cli {

class SvgPlot {
 public:
  struct Series {
    std::string label;
    // (time in seconds, value), in time order.
    std::vector<std::pair<double, double>> points;
    bool steps = false;
  };

  SvgPlot(std::string title, std::string valueLabel) : m_title(std::move(title)), m_valueLabel(std::move(valueLabel)) {}
  void AddSeries(Series series) { m_series.push_back(std::move(series)); }

  // The whole SVG document.
  [[nodiscard]] std::string Render() const;

  // Round tick values covering [low, high]: steps of 1, 2 or 5 times a power
  // of ten, about target of them.
  [[nodiscard]] static std::vector<double> Ticks(double low, double high, int target);
  // Text with &, <, >, " and ' escaped for XML.
  [[nodiscard]] static std::string Escape(const std::string& text);

 private:
  std::string m_title;
  std::string m_valueLabel;
  std::vector<Series> m_series;
};

}  // namespace dscore_cli
