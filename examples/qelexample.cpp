// qelexample: a short tour of the library (being written).
int main() { return 0; }
