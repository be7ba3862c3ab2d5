// in the making
