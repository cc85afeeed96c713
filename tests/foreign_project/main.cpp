// A user's first program: a figure from its structure, keys on several tracks, and the transform of
// links at times between them. It checks what it sees, so that a broken installation fails here.

#include <cmath>
#include <cstdio>

#include "strider/strider.h"

namespace {

int failures = 0;

void Expect(bool good, const char* what) {
  if (good) return;
  std::fprintf(stderr, "the installed library: %s\n", what);
  ++failures;
}

bool Near(float a, float b) { return std::fabs(a - b) < 1e-3f; }

}  // namespace

int main() {
  using namespace strider;
  Session session;
  Structure structure;
  structure.height = 180;
  structure.tailLinks = 3;
  IStriderMaster12* figure = CreateNewStrider(session, structure);
  Expect(figure != nullptr, "makes a figure");
  if (!figure) return 1;
  Expect(figure->GetHeight() == 180, "answers the height it was given");

  // The body walks two metres ahead within a second, and looks to its left at the end.
  HorizontalKey ground;
  Expect(figure->PutHorizontalKey(0, ground) == KeyRefusal::kNone, "takes a first key");
  ground.position = {200, 0, 0};
  Expect(figure->PutHorizontalKey(4800, ground) == KeyRefusal::kNone, "takes a second key");
  TurnKey turn;
  (void)figure->PutTurnKey(0, turn);
  turn.rotation = AboutY(kHalfPi);
  (void)figure->PutTurnKey(4800, turn);
  ChainKey tail;
  tail.rotation[1] = AboutZ(0.5f);
  Expect(figure->PutChainKey(kTail, 0, tail) == KeyRefusal::kNone, "keys a tail");
  LimbKey arm = CurrentLimbKey(figure->Core(), figure->Core().arm[kRight], kFreeKey);
  arm.jointAngles[kHinge] = kHalfPi;
  Expect(figure->PutLimbKey(kRightArm, 0, arm) == KeyRefusal::kNone, "keys an arm");

  const Matrix3 half = LinkTransform(*figure, kPelvis, 0, 2400);
  Expect(Near(half.row[3].x, 100), "stands half way at half the time");
  const Matrix3 last = LinkTransform(*figure, kPelvis, 0, 4800);
  Expect(Near(last.row[0].y, 1), "faces its left at the end");
  const Point3 elbow = LinkTransform(*figure, kRightArm, 2, 0).row[3];
  const Point3 hand = LinkTransform(*figure, kRightArm, 3, 0).row[3];
  Expect(hand.x - elbow.x > 20, "holds its forearm ahead");
  Expect(figure->GetNode(kTail, 2) != kNoNode && figure->GetNode(kTail, 3) == kNoNode,
         "has the tail it was asked for");
  return failures == 0 ? 0 : 1;
}
