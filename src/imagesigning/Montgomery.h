#pragma once

#include <algorithm>
#include <array>
#include <cstddef>

#include "foundation/LittleEndian.h"
#include "foundation/Toolchain.h"

namespace LCommon::Crypto {

/// Sums up products of limbs, column by column from the lowest: a number of three limbs. `DoubleLimb` has
/// twice the bits of `Limb`.
template <class Limb, class DoubleLimb>
class ColumnSum {
 public:
  static constexpr unsigned int LimbBits = 8 * sizeof(Limb);

  L_ALWAYS_INLINE void Add(DoubleLimb number) {
    m_low += number;
    m_high += m_low < number;
  }
  L_ALWAYS_INLINE void AddProduct(Limb a, Limb b) { Add(static_cast<DoubleLimb>(a) * b); }
  /// The products a[at] * b[column - at] for all `at` from `first` up to, not including, `end`.
  template <class Number>
  L_ALWAYS_INLINE void AddProducts(const Number& a, const Number& b, std::size_t column, std::size_t first,
                                   std::size_t end) {
    for (std::size_t at = first; at < end; ++at) {
      AddProduct(a[at], b[column - at]);
    }
  }
  L_ALWAYS_INLINE void AddTwice(const ColumnSum& other) {
    Add(other.m_low);
    Add(other.m_low);
    m_high += 2 * other.m_high;
  }
  Limb Lowest() const { return static_cast<Limb>(m_low); }
  /// Takes the lowest limb away and goes on to the next column.
  L_ALWAYS_INLINE Limb Next() {
    const Limb lowest = Lowest();
    m_low = m_low >> LimbBits | static_cast<DoubleLimb>(m_high) << LimbBits;
    m_high = 0;
    return lowest;
  }

 private:
  DoubleLimb m_low = 0;
  Limb m_high = 0;
};

/// Arithmetic modulo an odd number n of at most 1024 bits. With R = 2^1024, a number x is represented by x *
/// R mod n: then reducing a product needs no division. The time taken depends on the numbers: for public ones
/// only.
template <class Limb, class DoubleLimb>
class Montgomery {
 public:
  static constexpr std::size_t Bytes = 128;
  static constexpr std::size_t Bits = 8 * Bytes;
  static constexpr std::size_t LimbBits = 8 * sizeof(Limb);
  static constexpr std::size_t Limbs = Bytes / sizeof(Limb);
  /// A number below R, least significant limb first.
  using Number = std::array<Limb, Limbs>;

  static Number Read(const unsigned char* bytes) {
    Number number;
    for (std::size_t index = 0; index < Limbs; ++index) {
      number[index] = LReadLittleEndian<Limb>(bytes + index * sizeof(Limb));
    }
    return number;
  }

  static void Store(const Number& number, unsigned char* bytes) {
    for (std::size_t index = 0; index < Limbs; ++index) {
      LStoreLittleEndian(bytes + index * sizeof(Limb), number[index]);
    }
  }

  static bool HasBit(const Number& number, std::size_t bit) {
    return (number[bit / LimbBits] >> bit % LimbBits & 1) != 0;
  }

  /// The bits of `number` without leading zeros.
  static std::size_t BitWidth(const Number& number) {
    std::size_t width = Bits;
    while (width > 0 && !HasBit(number, width - 1))
      --width;
    return width;
  }

  /// For an odd modulus above 1.
  explicit Montgomery(const Number& modulus) : m_modulus(modulus) {
    // Newton's iteration doubles the number of right bits with each step; an odd number is its own inverse
    // modulo 8.
    Limb inverse = modulus[0];
    for (std::size_t bits = 3; bits < LimbBits; bits *= 2) {
      inverse *= 2 - modulus[0] * inverse;
    }
    m_negativeInverse = 0 - inverse;

    // The highest power of two below n, doubled until it is R.
    const std::size_t width = BitWidth(modulus);
    m_one = {};
    m_one[(width - 1) / LimbBits] = Limb{1} << (width - 1) % LimbBits;
    for (std::size_t bit = width - 1; bit < Bits; ++bit) {
      Double(m_one);
    }

    // The representation of R: that of 2^16 by doubling, then of 2^32, 2^64 and so on by squaring.
    std::size_t power = 16;
    m_r = m_one;
    for (std::size_t bit = 0; bit < power; ++bit) {
      Double(m_r);
    }
    for (; power < Bits; power *= 2) {
      m_r = Square(m_r);
    }
  }

  /// The representation of 1.
  const Number& One() const { return m_one; }
  /// The representation of any number below R.
  Number Enter(const Number& number) const { return Multiply(number, m_r); }
  /// The number below n that `representation` stands for.
  Number Leave(const Number& representation) const {
    Product product{};
    std::copy(representation.begin(), representation.end(), product.begin());
    return Reduce(product);
  }

  /// a * b / R mod n, when a is below R and b below n.
  Number Multiply(const Number& a, const Number& b) const {
    Product product;
    Sum sum;
    for (std::size_t column = 0; column < 2 * Limbs; ++column) {
      sum.AddProducts(a, b, column, FirstLimb(column), std::min(column + 1, Limbs));
      product[column] = sum.Next();
    }
    return Reduce(product);
  }

  /// Multiply(a, a) with half of the products: that of two different limbs counts twice.
  Number Square(const Number& a) const {
    Product product;
    Sum sum;
    for (std::size_t column = 0; column < 2 * Limbs; ++column) {
      Sum pairs;
      pairs.AddProducts(a, a, column, FirstLimb(column), (column + 1) / 2);
      sum.AddTwice(pairs);
      if (column % 2 == 0) sum.AddProduct(a[column / 2], a[column / 2]);
      product[column] = sum.Next();
    }
    return Reduce(product);
  }

 private:
  using Sum = ColumnSum<Limb, DoubleLimb>;
  using Product = std::array<Limb, 2 * Limbs>;

  /// The lowest limb of one factor that has a counterpart in the other for this column of their product.
  static std::size_t FirstLimb(std::size_t column) { return column < Limbs ? 0 : column - Limbs + 1; }

  /// product / R mod n, below n, for a product below n * R.
  Number Reduce(const Product& product) const {
    // Adds the multiple of n that makes the lower half zero: one limb of the factor for each column.
    Number factor, result;
    Sum sum;
    for (std::size_t column = 0; column < Limbs; ++column) {
      sum.Add(product[column]);
      sum.AddProducts(factor, m_modulus, column, 0, column);
      factor[column] = sum.Lowest() * m_negativeInverse;
      sum.AddProduct(factor[column], m_modulus[0]);
      sum.Next();
    }
    for (std::size_t column = Limbs; column < 2 * Limbs; ++column) {
      sum.Add(product[column]);
      sum.AddProducts(factor, m_modulus, column, FirstLimb(column), Limbs);
      result[column - Limbs] = sum.Next();
    }
    SubtractOnce(result, sum.Lowest());
    return result;
  }

  /// x = 2 * x mod n, for x below n.
  void Double(Number& x) const {
    Limb carry = 0;
    for (Limb& limb : x) {
      const Limb next = limb >> (LimbBits - 1);
      limb = limb << 1 | carry;
      carry = next;
    }
    SubtractOnce(x, carry);
  }

  /// x = x + top * R, less n unless it is below n already.
  void SubtractOnce(Number& x, Limb top) const {
    Number difference;
    Limb borrow = 0;
    for (std::size_t index = 0; index < Limbs; ++index) {
      const Limb part = x[index] - m_modulus[index];
      difference[index] = part - borrow;
      borrow = part > x[index] || difference[index] > part;
    }
    if (top >= borrow) x = difference;
  }

  Number m_modulus;
  Limb m_negativeInverse;  // -1 / n modulo the limb's range
  Number m_one;            // R mod n
  Number m_r;              // R * R mod n
};

/// `ModularPower` in limbs of any width, without its assertions.
template <class Limb, class DoubleLimb>
void ModularPowerWithLimbs(const unsigned char* base, const unsigned char* exponent,
                           const unsigned char* modulus, unsigned char* result) {
  using Arithmetic = Montgomery<Limb, DoubleLimb>;
  const Arithmetic arithmetic(Arithmetic::Read(modulus));
  const auto bits = Arithmetic::Read(exponent);

  // Up to four bits of the exponent cost one multiplication by an odd power of the base. Only the powers that
  // occur are computed, in order: a sparse exponent needs no more than the base itself.
  constexpr std::size_t WindowBits = 4;
  std::array<typename Arithmetic::Number, 1 << (WindowBits - 1)> oddPowers;
  oddPowers[0] = arithmetic.Enter(Arithmetic::Read(base));
  const auto square = arithmetic.Square(oddPowers[0]);
  std::size_t known = 1;

  auto product = arithmetic.One();
  for (std::size_t bit = Arithmetic::BitWidth(bits); bit > 0;) {
    std::size_t last = Arithmetic::HasBit(bits, bit - 1) ? bit - std::min(bit, WindowBits) : bit - 1;
    while (last < bit - 1 && !Arithmetic::HasBit(bits, last))
      ++last;
    std::size_t window = 0;
    for (; bit > last; --bit) {
      product = arithmetic.Square(product);
      window = 2 * window + (Arithmetic::HasBit(bits, bit - 1) ? 1 : 0);
    }
    if (window == 0) continue;
    for (; known <= window / 2; ++known) {
      oddPowers[known] = arithmetic.Multiply(oddPowers[known - 1], square);
    }
    product = arithmetic.Multiply(product, oddPowers[window / 2]);
  }
  Arithmetic::Store(arithmetic.Leave(product), result);
}

}  // namespace LCommon::Crypto
