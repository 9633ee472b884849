// A netlist to route: two numbers of four bits are multiplied.
module multiply(input [3:0] a, b, output [7:0] product);
  assign product = a * b;
endmodule
