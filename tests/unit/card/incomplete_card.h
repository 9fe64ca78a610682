// What the incomplete card-access library has.
#pragma once

extern "C" {
void CardAPI_Finalize();
int IncompleteCard_Finalized(); // how often CardAPI_Finalize was called
}
