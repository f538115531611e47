#include "model/math/Matrix.h"

#include "model/utils/OsgLog.h"
#include "support/Testing.h"

namespace MatrixTest {

using namespace osg;

class MatrixTest : public testing::Test {
 protected:
  MatrixTest() { doInitLog().setStream(&_log); }
  ~MatrixTest() override { doInitLog().setStream(nullptr); }

  /// The lines of the scene graph's log since the last call.
  std::string takeLog() { return std::exchange(_log, std::ostringstream()).str(); }
  Real32 number() { return std::uniform_real_distribution<Real32>(-3.F, 3.F)(_random); }
  Vec3f vector() { return {number(), number(), number()}; }
  Quaternion rotation() { return Quaternion::fromAxisDegrees(vector(), number() * 100.F); }

  std::mt19937 _random{5};
  std::ostringstream _log;
};

Real32 distance(Matrix const& a, Matrix const& b) {
  Real32 largest = 0;
  for (std::size_t i = 0; i < 16; ++i) {
    Real32 const difference = std::abs(a.data()[i] - b.data()[i]);
    if (!(difference <= largest)) largest = difference;
  }
  return largest;
}

Matrix transposed(Matrix const& matrix) {
  Matrix result;
  for (UInt32 i = 0; i < 16; ++i) result(i / 4, i % 4) = matrix(i % 4, i / 4);
  return result;
}

TEST_F(MatrixTest, ActsOnColumnsAndAppliesTheRightFactorFirst) {
  Matrix const matrix = Matrix::translation(Vec3f(10, 20, 30)) * Matrix::scale(Vec3f(2, 3, 4));
  EXPECT_EQ(matrix.multMatrixPnt(Pnt3f(1, 1, 1)), Pnt3f(12, 23, 34));
  EXPECT_EQ(matrix.multMatrixVec(Vec3f(1, 1, 1)), Vec3f(2, 3, 4));
  EXPECT_EQ(matrix.data()[12], 10.F) << "stored column by column";
  Quaternion const quarter = Quaternion::fromAxisDegrees(Vec3f(0, 0, 5), 90);
  EXPECT_LT(length(Matrix::rotation(quarter).multMatrixVec(Vec3f(1, 0, 0)) - Vec3f(0, 1, 0)), 1e-6F);
  EXPECT_EQ(Quaternion::fromAxisDegrees(Vec3f(), 90), Quaternion());
  for (int i = 0; i < 50; ++i) {
    Quaternion const a = rotation(), b = rotation();
    EXPECT_LT(distance(Matrix::rotation(a * b), Matrix::rotation(a) * Matrix::rotation(b)), 2e-6F);
  }
}

TEST_F(MatrixTest, InvertsWhatCanBeInverted) {
  for (int i = 0; i < 200; ++i) {
    Matrix matrix = Matrix::translation(vector()) * Matrix::rotation(rotation());
    for (UInt32 k = 0; k < 3; ++k) matrix(3, k) = number() * 0.01F;
    matrix = matrix * Matrix::scale(Vec3f(0.5F, 2.F, -1.F));
    Matrix inverse;
    ASSERT_TRUE(matrix.inverse(inverse));
    EXPECT_LT(distance(matrix * inverse, Matrix()), 2e-5F);
  }
  Matrix tiny;
  EXPECT_TRUE(Matrix::scale(Vec3f(1e-6F, 1e-6F, 1e-6F)).inverse(tiny));
  for (Matrix const& matrix :
       {Matrix::scale(Vec3f(1, 0, 1)), Matrix::scale(Vec3f(1, NAN, 1)),
        Matrix::translation(Vec3f(INFINITY, 0, 0)), Matrix::scale(Vec3f(-INFINITY, 1, 1))}) {
    Matrix result = Matrix::scale(Vec3f(7, 7, 7));
    EXPECT_FALSE(matrix.inverse(result));
    EXPECT_EQ(result, Matrix::scale(Vec3f(7, 7, 7)));
  }
}

TEST_F(MatrixTest, SplitsIntoRotationAndStretch) {
  for (int i = 0; i < 200; ++i) {
    Matrix matrix = Matrix::rotation(rotation()) * Matrix::scale(vector()) * Matrix::rotation(rotation());
    if (std::abs(matrix.determinant3()) < 0.05F) continue;
    Matrix turn, stretch;
    ASSERT_TRUE(matrix.polarDecompose(turn, stretch));
    EXPECT_LT(distance(turn * stretch, matrix), 1e-5F);
    EXPECT_LT(distance(turn * transposed(turn), Matrix()), 1e-5F);
    EXPECT_NEAR(turn.determinant3(), 1.F, 1e-5F) << "a reflection goes to the stretch";
    EXPECT_LT(distance(stretch, transposed(stretch)), 1e-5F);
  }
  Matrix turn, stretch;
  EXPECT_TRUE(Matrix::scale(Vec3f(1e-16F, 1e-16F, 2e-16F)).polarDecompose(turn, stretch))
      << "small is not singular";
  EXPECT_LT(distance(turn, Matrix()), 1e-5F);
  EXPECT_EQ(takeLog(), "");
  for (Matrix const& matrix : {Matrix::scale(Vec3f(1, 0, 1)), Matrix::scale(Vec3f(NAN, 1, 1))}) {
    EXPECT_FALSE(matrix.polarDecompose(turn, stretch));
    EXPECT_NE(takeLog().find("polarDecompose: Mk_det == 0.0\n"), std::string::npos);
  }
}

TEST_F(MatrixTest, ProjectsPointsAndReportsThoseAtInfinity) {
  Matrix projection = Matrix::scale(Vec3f(2, 2, 2));
  projection(3, 2) = -1.F;
  projection(3, 3) = 0.F;
  EXPECT_EQ(projection.multFullMatrixPnt(Pnt3f(1, 2, -4)), Pnt3f(0.5F, 1.F, -2.F));
  EXPECT_EQ(takeLog(), "");
  EXPECT_EQ(projection.multFullMatrixPnt(Pnt3f(1, 2, 0)), Pnt3f(2, 4, 0));
  EXPECT_TRUE(takeLog().ends_with("multFullMatrixPnt: w == 0.0f!\n"));
}

TEST_F(MatrixTest, GivesTheQuaternionOfARotationOnly) {
  for (int i = 0; i < 200; ++i) {
    Quaternion const turn = rotation();
    Quaternion const back = Quaternion::fromMatrix(Matrix::rotation(turn));
    EXPECT_LT(distance(Matrix::rotation(back), Matrix::rotation(turn)), 2e-6F);
  }
  EXPECT_EQ(takeLog(), "");
  for (Vec3f const factors :
       {Vec3f(2, 2, 2), Vec3f(-1, 1, 1), Vec3f(0, 0, 0), Vec3f(NAN, 1, 1), Vec3f(1, INFINITY, 1)}) {
    EXPECT_EQ(Quaternion::fromMatrix(Matrix::scale(factors)), Quaternion());
    EXPECT_NE(takeLog().find("MatToQuat"), std::string::npos) << factors[0];
  }
}

}  // namespace MatrixTest
