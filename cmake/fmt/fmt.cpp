// The functions of {fmt} that are no templates, and those of its templates that its headers declare
// as instantiated elsewhere.
#include <fmt/format-inl.h>

FMT_BEGIN_NAMESPACE
namespace detail {

template auto dragonbox::to_decimal(float value) noexcept -> dragonbox::decimal_fp<float>;
template auto dragonbox::to_decimal(double value) noexcept -> dragonbox::decimal_fp<double>;

template locale_ref::locale_ref(const std::locale& locale);
template auto locale_ref::get<std::locale>() const -> std::locale;

template auto thousands_sep_impl(locale_ref locale) -> thousands_sep_result<char>;
template auto decimal_point_impl(locale_ref locale) -> char;
template void buffer<char>::append(const char* begin, const char* end);

template auto thousands_sep_impl(locale_ref locale) -> thousands_sep_result<wchar_t>;
template auto decimal_point_impl(locale_ref locale) -> wchar_t;
template void buffer<wchar_t>::append(const wchar_t* begin, const wchar_t* end);

}  // namespace detail
FMT_END_NAMESPACE
