// What each version of the stream brought: a reader of an older file goes by it.
#pragma once

namespace strider {

inline constexpr int kVersionTag = 400;

inline constexpr int kFirstWithFigureHeight = 3;       // beside the footsteps
inline constexpr int kFirstWithHeightFractions = 4;    // in vertical keys
inline constexpr int kFirstWithTicks = 8;              // times were frames
inline constexpr int kFirstWithDynamicsBlend = 11;     // in vertical keys
inline constexpr int kFirstWithTransforms = 12;        // of footsteps
inline constexpr int kFirstWithTransformsOnly = 13;    // place and heading follow from them
inline constexpr int kFirstWithGravityPerSecond = 13;  // it was per frame
inline constexpr int kFirstVersionWithVersionWord = 13;
inline constexpr int kFirstWithMotionCount = 15;  // with the limbs' attachments
inline constexpr int kFirstWithDigitCounts = 18;  // five digits of three links were stored
inline constexpr int kFirstChunkVersionWithText = 19;
inline constexpr int kFirstWithAnkleHeight = 20;  // beside the footsteps
inline constexpr int kFirstWithFigure = 21;
inline constexpr int kFirstWithLegFraction = 22;      // in vertical keys
inline constexpr int kFirstWithAgreeingHeights = 25;  // and heights that agree with them
inline constexpr int kFirstWithHeaderInfo = 28;
inline constexpr int kFirstWithPreview = 28;
inline constexpr int kFirstBetaNeck = 29, kLastBetaNeck = 32;
inline constexpr int kFirstWithNeckRows = 32;        // also for a neck without links
inline constexpr int kFirstWithNeckKeys = 33;        // a head key held the head alone
inline constexpr int kFirstWithPelvisRotation = 34;  // a pelvis only rocked
inline constexpr int kFirstWithLinkBlock = 40;       // twist poses
inline constexpr int kVersionWithIdleFlag = 41;
inline constexpr int kFirstWithLimbFlags = 42;
inline constexpr int kFirstWithTrackFlags = 45;  // tracks said it each for itself
inline constexpr int kFirstWithXtras = 46;       // extra chains as they are now
inline constexpr int kFirstWithXtraNumbers = 48;
inline constexpr int kFirstWithHeadPivot = 49;

}  // namespace strider
